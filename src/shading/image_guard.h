// Check of an image file's header before a decoder runs on it: decoders trust sizes that a file of
// a few bytes may claim.
// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace mh {

// Formats whose header we read ourselves, by their content.
enum class ImageFormat { bmp, exr, gif, hdr, jpeg, pfm, png, pnm, tga, tiff };

constexpr double kMostPixels = 268435456.0; // 2^28

struct ImageHeader {
    std::string fault;                // why the file must not be decoded
    double pixels = 0.0, bytes = 0.0; // of the decoded image, as claimed; 0 with a fault
};

// A fault is a size below 1, more than kMostPixels, an image that takes more memory than there is,
// fewer bytes than that many pixels need at the format's best compression, or a header that is cut.
ImageHeader ReadImageHeader(const std::string& file, ImageFormat format);

} // namespace mh
