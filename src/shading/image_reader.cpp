// Which process decodes an image file; phase 2.
// SPDX-License-Identifier: MIT
#include "shading/image_reader.h"

#include "shading/image_helper.h"

namespace mh {

namespace {

// Formats whose decoders take what passes the check of the header, however it is damaged. Not among
// them: OpenEXR, whose decoder never ends on some files, TGA, whose decoder writes beyond its
// buffers, and TIFF, whose signature camera raw files share.
bool is_decoded_here(FREE_IMAGE_FORMAT format) {
    switch (format) {
    case FIF_BMP:
    case FIF_HDR:
    case FIF_JPEG:
    case FIF_PBM:
    case FIF_PBMRAW:
    case FIF_PFM:
    case FIF_PGM:
    case FIF_PGMRAW:
    case FIF_PNG:
    case FIF_PPM:
    case FIF_PPMRAW: return true;
    default: return false;
    }
}

bool has_radiance_name(const std::string& path) {
    return path.find(".hdr") != std::string::npos || path.find(".HDR") != std::string::npos;
}

} // namespace

std::string ReadImageFile(const std::string& file, Image& image, FloatStorage storage) {
    const Decoding decoding = {storage, has_radiance_name(image.path)};
    const FREE_IMAGE_FORMAT format = FormatBySignature(file);
    if (is_decoded_here(format)) return DecodeImageFile(file, format, decoding, image);
    return DecodeApart(file, decoding, BudgetOf(file, format), image);
}

} // namespace mh
