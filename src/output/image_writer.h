// The one way out to an image file.
// SPDX-License-Identifier: MIT
#pragma once

#include "shading/types.h"

#include <string>

namespace mh {

// Saves under image.path in the format whose extension occurs in the file's own name, wherever its
// folder is; row 0 is the top. False when nothing was saved: no name, no pixels, an extension that
// writes nothing, a failed write. The file appears whole or not at all; a failed write keeps the
// older file, and its reason is reported once.
bool WriteImage(const Image& image);

// Whether the name has an extension in which images can be saved.
bool CanWriteAs(const std::string& path);

// Whether its format holds linear light in floats; the others hold bytes.
bool HoldsFloats(const std::string& path);

} // namespace mh
