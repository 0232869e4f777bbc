// Decoding of image files through FreeImage into arrays of the width that the file has; phase 2,
// and the helper program.
// SPDX-License-Identifier: MIT
#include "shading/image_decoder.h"

#include "math/at.h"
#include "math/memory.h"
#include "math/rgbe.h"
#include "shading/byte_source.h"
#include "shading/images.h"
#include "shading/jpeg_segment.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>
#include <span>

#include <FreeImage.h>
#include <dlfcn.h>

namespace mh {

namespace {

using Bitmap = std::unique_ptr<FIBITMAP, decltype(&FreeImage_Unload)>;

std::optional<ImageFormat> format_of(FREE_IMAGE_FORMAT format) {
    switch (format) {
    case FIF_BMP: return ImageFormat::bmp;
    case FIF_EXR: return ImageFormat::exr;
    case FIF_GIF: return ImageFormat::gif;
    case FIF_HDR: return ImageFormat::hdr;
    case FIF_JPEG: return ImageFormat::jpeg;
    case FIF_PFM: return ImageFormat::pfm;
    case FIF_PNG: return ImageFormat::png;
    case FIF_PBM:
    case FIF_PBMRAW:
    case FIF_PGM:
    case FIF_PGMRAW:
    case FIF_PPM:
    case FIF_PPMRAW: return ImageFormat::pnm;
    case FIF_TARGA: return ImageFormat::tga;
    case FIF_TIFF: return ImageFormat::tiff;
    default: return {};
    }
}

// Values of a row as they stand; scanlines may be padded.
template<typename T>
void copy_rows(FIBITMAP* bitmap, std::vector<T>& values) {
    const auto height = static_cast<int>(FreeImage_GetHeight(bitmap));
    const std::size_t row = values.size() / to_size(height);
    for (int y = 0; y < height; ++y)
        std::memcpy(values.data() + row * to_size(y), FreeImage_GetScanLine(bitmap, y),
                    row * sizeof(T));
}

// Bytes of colours stand in the machine's order in a bitmap, red first in an image.
void swap_blue_and_red(Image& image) {
    const auto channels = to_size(image.channels);
    for (std::size_t i = 0; i < image.bytes.size(); i += channels) {
        const std::uint8_t* pixel = image.bytes.data() + i;
        const std::uint8_t red = pixel[FI_RGBA_RED], blue = pixel[FI_RGBA_BLUE];
        image.bytes[i] = red;
        image.bytes[i + 2] = blue;
    }
}

void copy_unsigned(FIBITMAP* bitmap, Image& image) {
    std::vector<std::uint32_t> values(image.floats.size());
    copy_rows(bitmap, values);
    for (std::size_t i = 0; i < values.size(); ++i)
        image.floats[i] = static_cast<float>(values[i]);
}

void encode_rows(FIBITMAP* bitmap, Image& image) {
    std::size_t i = 0;
    for (int y = 0; y < image.height; ++y) {
        const auto* row = reinterpret_cast<const FIRGBF*>(FreeImage_GetScanLine(bitmap, y));
        for (int x = 0; x < image.width; ++x)
            image.rgbe[i++] = encode_rgbe({row[x].red, row[x].green, row[x].blue});
    }
}

// Byte images: grey or the indices of a palette, whose colours do not count; RGB; RGBA.
bool copy_bitmap(FIBITMAP* bitmap, int width, int height, Image& image) {
    constexpr unsigned kBitsPerChannel = 8;
    const unsigned bits = FreeImage_GetBPP(bitmap);
    const unsigned channels = bits / kBitsPerChannel;
    if (bits % kBitsPerChannel != 0 || (channels != 1 && channels != 3 && channels != 4))
        return false;
    AllocateImage(image, width, height, static_cast<int>(channels), kBitsPerChannel, false);
    image.palette_indices = FreeImage_GetColorType(bitmap) == FIC_PALETTE;
    copy_rows(bitmap, image.bytes);
    if (channels > 1) swap_blue_and_red(image);
    return true;
}

// False for types of pixels that images do not hold.
bool copy_pixels(FIBITMAP* bitmap, Image& image, FloatStorage storage) {
    const auto width = static_cast<int>(FreeImage_GetWidth(bitmap));
    const auto height = static_cast<int>(FreeImage_GetHeight(bitmap));
    switch (FreeImage_GetImageType(bitmap)) {
    case FIT_BITMAP: return copy_bitmap(bitmap, width, height, image);
    case FIT_UINT16:
        AllocateImage(image, width, height, 1, 16, false);
        return copy_rows(bitmap, image.words), true;
    case FIT_RGB16:
        AllocateImage(image, width, height, 3, 16, false);
        return copy_rows(bitmap, image.words), true;
    case FIT_RGBA16:
        AllocateImage(image, width, height, 4, 16, false);
        return copy_rows(bitmap, image.words), true;
    case FIT_UINT32:
        AllocateImage(image, width, height, 1, 32, false);
        return copy_unsigned(bitmap, image), true;
    case FIT_FLOAT:
        AllocateImage(image, width, height, 1, 32, false);
        return copy_rows(bitmap, image.floats), true;
    case FIT_RGBAF:
        AllocateImage(image, width, height, 4, 32, false);
        return copy_rows(bitmap, image.floats), true;
    case FIT_RGBF:
        AllocateImage(image, width, height, 3, 32, storage == FloatStorage::rgbe);
        storage == FloatStorage::rgbe ? encode_rows(bitmap, image)
                                      : copy_rows(bitmap, image.floats);
        return true;
    default: return false;
    }
}

// A JPEG file without its metadata, whose parsers do not check what they are given. Dropped are the
// segments of applications, except JFIF's and the one that says how colours are coded.
std::vector<std::uint8_t> without_metadata(std::span<const std::uint8_t> jpeg) {
    constexpr std::uint8_t kFirst = 0xE1, kLast = 0xEF, kColors = 0xEE, kScan = 0xDA;
    std::vector<std::uint8_t> kept(jpeg.begin(),
                                   jpeg.begin() + std::min<std::ptrdiff_t>(2, std::ssize(jpeg)));
    std::size_t at = 2;
    while (at + 4 <= jpeg.size() && jpeg[at] == 0xFF && jpeg[at + 1] != kScan) {
        const std::uint8_t marker = jpeg[at + 1];
        const auto length = static_cast<std::uint64_t>(jpeg[at + 2] << 8 | jpeg[at + 3]);
        const std::size_t end = std::min(at + jpeg_segment_bytes(marker, length), jpeg.size());
        if (marker < kFirst || marker > kLast || marker == kColors)
            kept.insert(kept.end(), jpeg.begin() + static_cast<std::ptrdiff_t>(at),
                        jpeg.begin() + static_cast<std::ptrdiff_t>(end));
        at = end;
    }
    kept.insert(kept.end(), jpeg.begin() + static_cast<std::ptrdiff_t>(at), jpeg.end());
    return kept;
}

double pixel_count(FIBITMAP* bitmap) {
    return 1.0 * FreeImage_GetWidth(bitmap) * FreeImage_GetHeight(bitmap);
}

// What a decoder reads from.
struct Input {
    ByteSource source;
    std::int64_t at = 0;
};

unsigned DLL_CALLCONV read_input(void* to, unsigned size, unsigned count, fi_handle handle) {
    auto& input = *static_cast<Input*>(handle);
    const std::span<char> bytes(static_cast<char*>(to), std::size_t{size} * count);
    const std::size_t done = read_bytes(input.source, static_cast<std::uint64_t>(input.at), bytes);
    input.at += static_cast<std::int64_t>(done);
    return size == 0 ? 0 : static_cast<unsigned>(done / size);
}

int DLL_CALLCONV seek_input(fi_handle handle, long offset, int origin) {
    auto& input = *static_cast<Input*>(handle);
    const auto end = static_cast<std::int64_t>(input.source.file.size_bytes);
    const std::int64_t base = origin == SEEK_CUR ? input.at : origin == SEEK_END ? end : 0;
    std::int64_t at = 0;
    if (__builtin_add_overflow(base, offset, &at) || at < 0) return -1;
    input.at = at;
    return 0;
}

long DLL_CALLCONV tell_input(fi_handle handle) {
    return static_cast<Input*>(handle)->at;
}

FreeImageIO input_calls() {
    return {read_input, nullptr, seek_input, tell_input};
}

FIBITMAP* decode(const std::string& file, FREE_IMAGE_FORMAT format) {
    Input input = {{OpenInput(file)}};
    if (!input.source.file) return nullptr;
    FreeImageIO calls = input_calls();
    if (format != FIF_JPEG) return FreeImage_LoadFromHandle(format, &calls, &input, 0);
    if (!FitsMemory(input.source.file)) return nullptr;
    const std::string content = ReadRest(input.source.file);
    std::vector<std::uint8_t> bytes =
        without_metadata({reinterpret_cast<const std::uint8_t*>(content.data()), content.size()});
    FIMEMORY* memory = FreeImage_OpenMemory(bytes.data(), static_cast<DWORD>(bytes.size()));
    FIBITMAP* bitmap = FreeImage_LoadFromMemory(format, memory, 0);
    FreeImage_CloseMemory(memory);
    return bitmap;
}

// The report names a fault; what the decoders' own libraries would print is kept from the
// console.
void silence_decoders() {
    using SetHandler = void* (*)(void*);
    FreeImage_SetOutputMessage(nullptr);
    for (const char* name : {"TIFFSetErrorHandler", "TIFFSetWarningHandler"}) {
        const auto set_handler = reinterpret_cast<SetHandler>(dlsym(RTLD_DEFAULT, name));
        if (set_handler != nullptr) set_handler(nullptr);
    }
}

} // namespace

// The library's own search would have a raw decoder look at what it takes for no image or for TIFF;
// all others compare a few bytes.
FREE_IMAGE_FORMAT FormatBySignature(const std::string& file) {
    Input input = {{OpenInput(file)}};
    FreeImageIO calls = input_calls();
    if (!input.source.file) return FIF_UNKNOWN;
    for (int i = 0; i < FreeImage_GetFIFCount(); ++i) {
        const auto format = static_cast<FREE_IMAGE_FORMAT>(i);
        if (format != FIF_RAW && FreeImage_ValidateFromHandle(format, &calls, &input))
            return format;
    }
    return FIF_UNKNOWN;
}

FREE_IMAGE_FORMAT FormatWithRaw(const std::string& file) {
    Input input = {{OpenInput(file)}};
    FreeImageIO calls = input_calls();
    if (!input.source.file) return FIF_UNKNOWN;
    return FreeImage_GetFileTypeFromHandle(&calls, &input, 0);
}

ImageHeader HeaderOf(const std::string& file, FREE_IMAGE_FORMAT format) {
    const std::optional<ImageFormat> guarded = format_of(format);
    return guarded ? ReadImageHeader(file, *guarded) : ImageHeader();
}

std::string DecodeImageFile(const std::string& file, FREE_IMAGE_FORMAT format, Decoding decoding,
                            Image& image) {
    silence_decoders();
    const std::string fault = HeaderOf(file, format).fault;
    if (!fault.empty()) return fault;
    const MemoryReserve reserve;
    const Bitmap bitmap(decode(file, format), FreeImage_Unload);
    if (bitmap == nullptr || FreeImage_HasPixels(bitmap.get()) == FALSE) return "cannot be decoded";
    if (pixel_count(bitmap.get()) > kMostPixels) return "has more than 2^28 pixels";
    // The decoder hands all formats over with the bottom row first but this one.
    const bool top_first = format == FIF_PFM;
    if (top_first != decoding.top_first) FreeImage_FlipVertical(bitmap.get());
    if (copy_pixels(bitmap.get(), image, decoding.storage)) return {};
    return "has pixels of " + std::to_string(FreeImage_GetBPP(bitmap.get()))
           + " bits in a form that is not read";
}

} // namespace mh
