// Decoding of image files into the pixel arrays of images.
// SPDX-License-Identifier: MIT
#pragma once

#include "shading/types.h"

#include <string>

namespace mh {

// How colours of three floats are held: textures as 4 bytes, images that are measured as they are.
enum class FloatStorage { rgbe, floats };

// Reads the file into the image, rows bottom first (files whose path holds ".hdr" or ".HDR": top
// first). Returns why the image stays without pixels, or an empty text.
std::string ReadImageFile(const std::string& file, Image& image,
                          FloatStorage storage = FloatStorage::rgbe);

} // namespace mh
