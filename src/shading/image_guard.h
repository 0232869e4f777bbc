// Check of an image file's header before a decoder runs on it: decoders trust sizes that a file of
// a few bytes may claim.
// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace mh {

// Formats whose header we read ourselves, by their content.
enum class ImageFormat { bmp, exr, gif, hdr, jpeg, pfm, png, pnm, tga, tiff };

// Why the file must not be decoded, or an empty text: a size below 1, more than 2^28 pixels, fewer
// bytes than that many pixels need at the format's best compression, or a header that is cut.
std::string ImageHeaderFault(const std::string& file, ImageFormat format);

} // namespace mh
