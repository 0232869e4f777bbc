// Images that a scene names: whether they can be read, and whether they hold what is expected.
// SPDX-License-Identifier: MIT
#include "check/images.h"

#include "lights/state.h"
#include "math/at.h"
#include "shading/images.h"
#include "shading/state.h"

#include <algorithm>
#include <map>

namespace mh {

namespace {

struct Look {
    bool missing = false, palette_indices = false;
    std::vector<ReportMessage> messages;
};

// The record that the render will read from; null for images of meshes, which are read already.
Image* find_record(const Mention& mention) {
    if (mention.block == "slot") return &at(Textures, FindOrAddImage(mention.name));
    if (mention.key == "image" && SkyLight.image.path == mention.name) return &SkyLight.image;
    if (mention.key == "backdrop" && SkyLight.backdrop.path == mention.name)
        return &SkyLight.backdrop;
    return nullptr;
}

Look look_at(SceneCheck& check, const Mention& mention) {
    Image other;
    other.path = mention.name;
    Image* record = find_record(mention);
    Image& image = record == nullptr ? other : *record;
    LoadImage(image);
    const Look look = {image.failed, image.palette_indices, check.report.take_messages()};
    if (image.width <= 0) image.loaded = image.failed = false; // the render says so once more
    return look;
}

void check_image(SceneCheck& check, const Mention& mention, const Look& look) {
    if (look.missing)
        return add_fault(check.lines, mention.place,
                         "file " + in_quotes(mention.name) + " is not found; looked for in "
                             + FoldersText(ImageSearchPaths));
    for (const ReportMessage& message : look.messages)
        AddMessage(check.lines, mention.place, message);
    if (look.palette_indices)
        add_warning(
            check.lines, mention.place,
            in_quotes(mention.name)
                + " has a palette, whose colours are not read: its pixels are grey indices");
}

} // namespace

void CheckImages(SceneCheck& check) {
    std::map<std::string, Look> looks;
    for (const Mention& mention : check.lines.mentions) {
        if (mention.role != Role::image_file || mention.name.empty()) continue;
        const auto [look, is_new] = looks.try_emplace(mention.name);
        if (is_new) look->second = look_at(check, mention);
        check_image(check, mention, look->second);
    }
}

} // namespace mh
