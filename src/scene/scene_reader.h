// Scene directories: finds the .mh files of a folder and reads their blocks. Silent about whatever
// it does not understand.
// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace mh {

// Reads every regular file *.mh of the folder, sorted by name; a missing folder reads as empty.
void ScanSceneFolder(const std::string& folder);

// Whether the file could be opened; what it holds is added to the scene.
bool ReadSceneFile(const std::string& path);

} // namespace mh
