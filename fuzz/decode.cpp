// Image files of every format through the helper program, whose crash, hang or lie about what it
// has decoded has to end in a reason.
// SPDX-License-Identifier: MIT
#include "harness.h"
#include "shading/image_guard.h"
#include "shading/image_helper.h"
#include "shading/images.h"
#include "shading/state.h"
#include "support/fresh_scene.h"

#include <cstdlib>

void mh::fuzz::Try(std::string_view input) {
    const test::FreshScene scene;
    ImageHelper = MOONHARE_BUILT_HELPER;
    WriteFile("image", input);
    Image image;
    const Budget budget = BudgetOf("image", FormatBySignature("image"));
    const std::string reason = DecodeApart("image", {FloatStorage::floats, false}, budget, image);
    const bool has_pixels = image.width > 0 && image.height > 0;
    if (has_pixels != reason.empty()) std::abort();
    Vec3 mean, variance;
    image_statistics(image, mean, variance);
}
