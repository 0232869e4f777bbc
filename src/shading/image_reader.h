// Reading of image files into the pixel arrays of images: in this process where that is safe, in
// the helper program otherwise.
// SPDX-License-Identifier: MIT
#pragma once

#include "shading/image_decoder.h"
#include "shading/types.h"

#include <string>

namespace mh {

// Reads the file into the image, rows bottom first (files whose path holds ".hdr" or ".HDR": top
// first). Returns why the image stays without pixels, or an empty text.
std::string ReadImageFile(const std::string& file, Image& image,
                          FloatStorage storage = FloatStorage::rgbe);

} // namespace mh
