// Image files: the check of the header, and the decoding in this process. What the helper program
// decodes ends with the check.
// SPDX-License-Identifier: MIT
#include "harness.h"
#include "shading/image_decoder.h"
#include "shading/image_helper.h"
#include "shading/image_reader.h"
#include "shading/images.h"
#include "shading/state.h"
#include "support/fresh_scene.h"

void mh::fuzz::Try(std::string_view input) {
    const test::FreshScene scene;
    ImageHelper = "none";
    WriteFile("image", input);
    HeaderOf("image", FormatBySignature("image"));
    for (const FloatStorage storage : {FloatStorage::rgbe, FloatStorage::floats}) {
        Image image;
        ReadImageFile("image", image, storage);
        Vec3 mean, variance;
        image_statistics(image, mean, variance);
    }
}
