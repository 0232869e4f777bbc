// All images of a run as layers of one OpenEXR file.
// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace mh {

// From now on, and from nothing, keeps a copy of each image that is written.
void CollectLayers();

// What was collected, in one file: the picture in the channels R, G and B, the others in NAME.R,
// NAME.G and NAME.B, after their own files. Empty on success, else why not; nothing is written
// before the picture is there.
std::string WriteLayers(const std::string& path, const std::string& beauty);

} // namespace mh
