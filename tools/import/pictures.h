// Pictures of an imported scene: where they are, and those that are made of them.
// SPDX-License-Identifier: MIT
#pragma once

#include "import/map_scene.h"

#include <string>
#include <vector>

namespace mh {

// The file of each picture, empty for those that came inside the imported file. Pictures that are
// not there are taken out of the materials, with a line each; by the last part of their name they
// are found beside the imported file too.
struct PictureSources {
    std::vector<std::string> files;
    std::string fault; // a name of glTF that leads out of the folder
};

PictureSources FindPictures(const std::string& folder, bool strict, ImportedScene& scene);

// Writes one file. Returns why it could not, or an empty text.
std::string WritePicture(const PictureFile& picture, const ImportedScene& scene,
                         const PictureSources& sources, bool link, const std::string& path);

} // namespace mh
