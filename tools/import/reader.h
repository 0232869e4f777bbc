// Reading of a file of another program, in the helper process.
// SPDX-License-Identifier: MIT
#pragma once

#include "import/imported_scene.h"

#include <string>

namespace mh {

// Fills the scene, posed at so many seconds; below 0 as the file stands. Returns why there is none,
// or an empty text.
std::string ReadForeignFile(const std::string& path, double seconds, ImportedScene& scene);

// What the helper program can read, a line each; empty when it is not installed.
std::string FormatList();

} // namespace mh
