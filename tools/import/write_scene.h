// A mapped scene on the disk.
// SPDX-License-Identifier: MIT
#pragma once

#include "import/pictures.h"

namespace mh {

// Writes all files below a directory that is there and empty. Returns why one could not be written,
// or an empty text; `unreadable` tells that a picture of the imported file is to blame.
std::string WriteScene(const ImportedScene& scene, const MappedScene& mapped,
                       const PictureSources& sources, bool link, const std::string& directory,
                       bool& unreadable);

} // namespace mh
