// The one way out to an image file.
// SPDX-License-Identifier: MIT
#pragma once

#include "shading/types.h"

namespace mh {

// Saves under image.path in the format whose extension occurs in it; row 0 is the top. False when
// nothing was saved: no name, no pixels, an extension that writes nothing, a failed write. The
// file appears whole or not at all; a failed write keeps the older file and gets a warning.
bool WriteImage(const Image& image);

// Whether the name has an extension in which images can be saved.
bool CanWriteAs(const std::string& name);

} // namespace mh
