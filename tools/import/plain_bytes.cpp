// Conversion by FreeImage of what it decodes within this process anyway.
// SPDX-License-Identifier: MIT
#include "import/plain_bytes.h"

#include "shading/image_decoder.h"

#include <memory>

#include <FreeImage.h>

namespace mh {

namespace {

using Bitmap = std::unique_ptr<FIBITMAP, decltype(&FreeImage_Unload)>;

bool is_guarded(FREE_IMAGE_FORMAT format) {
    return format == FIF_PNG || format == FIF_BMP;
}

Bitmap load(const std::string& path, FREE_IMAGE_FORMAT format, int flags) {
    const bool sound = is_guarded(format) && HeaderOf(path, format).fault.empty();
    return {sound ? FreeImage_Load(format, path.c_str(), flags) : nullptr, FreeImage_Unload};
}

bool is_plain(FIBITMAP* bitmap) {
    const unsigned bits = FreeImage_GetBPP(bitmap);
    return FreeImage_GetImageType(bitmap) == FIT_BITMAP
           && (bits == 24 || bits == 32
               || (bits == 8 && FreeImage_GetColorType(bitmap) != FIC_PALETTE));
}

} // namespace

bool NeedsPlainBytes(const std::string& path) {
    const Bitmap bitmap = load(path, FormatBySignature(path), FIF_LOAD_NOPIXELS);
    return bitmap != nullptr && !is_plain(bitmap.get());
}

bool WritePlainBytes(const std::string& from, const std::string& to) {
    const Bitmap bitmap = load(from, FormatBySignature(from), 0);
    if (bitmap == nullptr || FreeImage_HasPixels(bitmap.get()) == FALSE) return false;
    const Bitmap plain(FreeImage_ConvertTo32Bits(bitmap.get()), FreeImage_Unload);
    return plain != nullptr && FreeImage_Save(FIF_PNG, plain.get(), to.c_str(), 0) != FALSE;
}

} // namespace mh
