// Files and folders that the user names, and the complaints about them.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/input_file.h"

#include <string>

namespace mh {

// Whether all of the file could be read.
bool ReadWholeFile(const std::string& path, std::string& content, Origin origin = Origin::scene);

// Writes a line to standard error; replaced while a bar of progress is there.
inline void (*WriteLine)(const std::string& line) = nullptr;

// A line on standard error, led by the program's name.
void Complain(const std::string& message);

// ".obj" of "room/BOX.OBJ"; empty without one.
std::string ExtensionOf(const std::string& path);

// Whether the path leads to a directory; complains if not.
bool IsDirectory(const std::string& path);

} // namespace mh
