// Decoding of an image file within the process that asks for it.
// SPDX-License-Identifier: MIT
#pragma once

#include "shading/image_guard.h"
#include "shading/images.h"
#include "shading/types.h"

#include <string>

#include <FreeImage.h>

namespace mh {

struct Decoding {
    FloatStorage storage = FloatStorage::rgbe;
    bool top_first = false; // order of the rows; the bottom row is first by default
};

// The format by the file's signature alone; FIF_UNKNOWN without one.
FREE_IMAGE_FORMAT FormatBySignature(const std::string& file);

// The same with camera raw files, which may have the signature of TIFF: for the helper alone.
FREE_IMAGE_FORMAT FormatWithRaw(const std::string& file);

// What the file's header claims; nothing for formats whose headers are not read.
ImageHeader HeaderOf(const std::string& file, FREE_IMAGE_FORMAT format);

// Reads the file, once its header has passed the checks of its format. Returns why the image stays
// without pixels, or an empty text.
std::string DecodeImageFile(const std::string& file, FREE_IMAGE_FORMAT format, Decoding decoding,
                            Image& image);

} // namespace mh
