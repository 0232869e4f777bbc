// Saves image buffers in the format that their file name asks for. Called on the main thread after
// the last frame and by the finalisation phases. A file is encoded in memory and replaced as a
// whole.
// SPDX-License-Identifier: MIT
#include "output/image_writer.h"

#include "math/at.h"
#include "math/memory.h"
#include "math/rgbe.h"
#include "output/file_writer.h"
#include "output/run_hooks.h"
#include "output/state.h"
#include "run/report.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <FreeImage.h>

namespace mh {

namespace {

struct FileFormat {
    std::string_view lower, upper; // extension, found anywhere in the file's own name
    FREE_IMAGE_FORMAT format;
};

// In the order in which they are tried: a name with two extensions is saved by the upper row.
constexpr std::array kFormats = {
    FileFormat{".bmp", ".BMP", FIF_BMP},       FileFormat{".cut", ".CUT", FIF_CUT},
    FileFormat{".dds", ".DDS", FIF_DDS},       FileFormat{".exr", ".EXR", FIF_EXR},
    FileFormat{".g3", ".G3", FIF_FAXG3},       FileFormat{".gif", ".GIF", FIF_GIF},
    FileFormat{".hdr", ".HDR", FIF_HDR},       FileFormat{".ico", ".ICO", FIF_ICO},
    FileFormat{".iff", ".IFF", FIF_LBM},       FileFormat{".j2k", ".J2K", FIF_J2K},
    FileFormat{".jng", ".JNG", FIF_JNG},       FileFormat{".jp2", ".JP2", FIF_JP2},
    FileFormat{".jpg", ".JPG", FIF_JPEG},      FileFormat{".jpeg", ".JPEG", FIF_JPEG},
    FileFormat{".koa", ".KOA", FIF_KOALA},     FileFormat{".mng", ".MNG", FIF_MNG},
    FileFormat{".pbm", ".PBM", FIF_PBM},       FileFormat{".pcd", ".PCD", FIF_PCD},
    FileFormat{".pfm", ".PFM", FIF_PFM},       FileFormat{".pgm", ".PGM", FIF_PGM},
    FileFormat{".pic", ".PIC", FIF_PICT},      FileFormat{".pct", ".PCT", FIF_PICT},
    FileFormat{".pict", ".PICT", FIF_PICT},    FileFormat{".png", ".PNG", FIF_PNG},
    FileFormat{".ppm", ".PPM", FIF_PPM},       FileFormat{".psd", ".PSD", FIF_PSD},
    FileFormat{".ras", ".RAS", FIF_RAS},       FileFormat{".raw", ".RAW", FIF_RAW},
    FileFormat{".sgi", ".SGI", FIF_SGI},       FileFormat{".tga", ".TGA", FIF_TARGA},
    FileFormat{".targa", ".TARGA", FIF_TARGA}, FileFormat{".tif", ".TIF", FIF_TIFF},
    FileFormat{".tiff", ".TIFF", FIF_TIFF},    FileFormat{".wap", ".WAP", FIF_WBMP},
    FileFormat{".wabmp", ".WBMP", FIF_WBMP},   FileFormat{".wbm", ".WBM", FIF_WBMP},
    FileFormat{".xbm", ".XBM", FIF_XBM},       FileFormat{".xpm", ".XPM", FIF_XPM},
};

constexpr float kByteStep = 1.0f / 255.0f;
constexpr float kWordStep = 1.0f / 65535.0f;

struct Unload {
    void operator()(FIBITMAP* bitmap) const { FreeImage_Unload(bitmap); }
};

struct CloseMemory {
    void operator()(FIMEMORY* memory) const { FreeImage_CloseMemory(memory); }
};

using Bitmap = std::unique_ptr<FIBITMAP, Unload>;
using Memory = std::unique_ptr<FIMEMORY, CloseMemory>;

// Folders do not choose a format.
std::string_view own_name(std::string_view path) {
    return path.substr(path.rfind('/') + 1);
}

bool contains(std::string_view path, std::string_view lower, std::string_view upper) {
    const std::string_view name = own_name(path);
    return name.find(lower) != name.npos || name.find(upper) != name.npos;
}

bool is_pfm(std::string_view path) {
    return contains(path, ".pfm", ".PFM");
}

// The element, or 0 behind the end of a buffer.
template<typename T>
T element(const std::vector<T>& buffer, std::size_t index) {
    return index < buffer.size() ? buffer[index] : T{};
}

float float_value(const Image& image, std::size_t index) {
    switch (image.bits) {
    case 1: return element(image.bits1, index) ? 1.0f : 0.0f;
    case 8: return static_cast<float>(element(image.bytes, index)) * kByteStep;
    case 16: return static_cast<float>(element(image.words, index)) * kWordStep;
    case 32: return element(image.floats, index);
    default: return static_cast<float>(element(image.doubles, index));
    }
}

// 255 above 1; below, the low 8 bits of the value's integer part times 255: what is negative wraps.
BYTE cut_to_byte(double value) {
    constexpr double kMost = std::numeric_limits<std::int32_t>::max();
    if (value > 1.0) return 255;
    const double scaled = value * 255.0;
    if (!(scaled > -kMost)) return 0;
    return static_cast<BYTE>(static_cast<std::int32_t>(scaled) & 0xFF);
}

BYTE byte_value(const Image& image, std::size_t index) {
    switch (image.bits) {
    case 1: return element(image.bits1, index) ? 255 : 0;
    case 8: return element(image.bytes, index);
    case 16: return static_cast<BYTE>(element(image.words, index) >> 8);
    case 32: return cut_to_byte(element(image.floats, index));
    default: return cut_to_byte(element(image.doubles, index));
    }
}

// No sample leaves anything else, but an image may come from a checkpoint.
float finite(float value) {
    return std::isfinite(value) ? value : 0.0f;
}

// RGB or RGBA floats; one channel is spread over three.
Bitmap float_bitmap(const Image& image) {
    const std::size_t stored = image.channels == 4 ? 4 : 3;
    const FREE_IMAGE_TYPE type = stored == 4 ? FIT_RGBAF : FIT_RGBF;
    Bitmap bitmap(
        FreeImage_AllocateT(type, image.width, image.height, static_cast<int>(stored) * 32));
    if (!bitmap) return bitmap;
    const auto channels = to_size(image.channels);
    const std::size_t row_values = stored * to_size(image.width);
    const std::size_t all_values = row_values * to_size(image.height);
    const bool as_stored =
        image.bits == 32 && channels == stored && image.floats.size() >= all_values;
    std::size_t source = 0;
    for (int y = 0; y < image.height; ++y) {
        auto row = reinterpret_cast<float*>(FreeImage_GetScanLine(bitmap.get(), y));
        if (as_stored) {
            const float* values = &image.floats[row_values * to_size(y)];
            std::transform(values, values + row_values, row, finite);
            continue;
        }
        for (std::size_t i = 0; i < row_values; i += stored, source += channels)
            for (std::size_t c = 0; c < stored; ++c)
                row[i + c] = finite(float_value(image, source + std::min(c, channels - 1)));
    }
    return bitmap;
}

// Three values a pixel, whatever the number of channels.
Bitmap byte_bitmap(const Image& image) {
    Bitmap bitmap(FreeImage_Allocate(image.width, image.height, image.channels * 8));
    if (!bitmap) return bitmap;
    std::size_t source = 0;
    for (int y = 0; y < image.height; ++y) {
        for (int x = 0; x < image.width; ++x, source += 3) {
            RGBQUAD colour = {};
            colour.rgbRed = byte_value(image, source);
            colour.rgbGreen = byte_value(image, source + 1);
            colour.rgbBlue = byte_value(image, source + 2);
            colour.rgbReserved = 255; // opaque
            FreeImage_SetPixelColor(bitmap.get(), static_cast<unsigned>(x),
                                    static_cast<unsigned>(y), &colour);
        }
    }
    return bitmap;
}

// The library counts rows from the bottom; only its PFM writer already turns them.
Bitmap make_bitmap(const Image& image) {
    Bitmap bitmap = HoldsFloats(image.path) ? float_bitmap(image) : byte_bitmap(image);
    if (bitmap && !is_pfm(image.path)) FreeImage_FlipVertical(bitmap.get());
    return bitmap;
}

// The encoder cuts mantissas, which loses half a step on average: 0.2 to 0.4 % of the largest
// channel and more of the others.
void round_mantissas(FIBITMAP* bitmap) {
    if (FreeImage_GetImageType(bitmap) != FIT_RGBF) return;
    const std::size_t width = FreeImage_GetWidth(bitmap);
    for (unsigned y = 0; y < FreeImage_GetHeight(bitmap); ++y) {
        auto row = reinterpret_cast<FIRGBF*>(FreeImage_GetScanLine(bitmap, static_cast<int>(y)));
        for (FIRGBF& pixel : std::span(row, width)) {
            const Vec3 rounded = nearest_rgbe({pixel.red, pixel.green, pixel.blue});
            pixel = {rounded.x, rounded.y, rounded.z};
        }
    }
}

// What is larger would become infinite.
void limit_to_halves(FIBITMAP* bitmap) {
    constexpr float kLargest = 65504.0f;
    const std::size_t values = FreeImage_GetLine(bitmap) / sizeof(float);
    for (unsigned y = 0; y < FreeImage_GetHeight(bitmap); ++y) {
        auto row = reinterpret_cast<float*>(FreeImage_GetScanLine(bitmap, static_cast<int>(y)));
        for (float& value : std::span(row, values))
            value = std::clamp(value, -kLargest, kLargest);
    }
}

bool encode_as(FREE_IMAGE_FORMAT format, FIBITMAP* bitmap, FIMEMORY* memory) {
    const bool halves = format == FIF_EXR && !ImageWriting.exr_floats;
    if (format == FIF_HDR) round_mantissas(bitmap);
    if (halves) limit_to_halves(bitmap);
    const int flags = format == FIF_EXR && !halves ? EXR_FLOAT : 0;
    return FreeImage_SaveToMemory(format, bitmap, memory, flags) != 0;
}

// The bytes of the file in the first format of the name that can hold the bitmap; null when none.
Memory encode(FIBITMAP* bitmap, std::string_view path) {
    for (const FileFormat& row : kFormats) {
        if (!contains(path, row.lower, row.upper)) continue;
        Memory memory(FreeImage_OpenMemory());
        if (encode_as(row.format, bitmap, memory.get())) return memory;
    }
    return nullptr;
}

bool has_known_extension(std::string_view path) {
    return std::any_of(kFormats.begin(), kFormats.end(), [path](const FileFormat& row) {
        return contains(path, row.lower, row.upper);
    });
}

// Empty on success, else why nothing was saved.
std::string save(const Image& image) {
    if (image.width < 1 || image.height < 1 || image.channels < 1) return "it has no pixels";
    if (!has_known_extension(image.path)) return "its name has no known extension";
    const MemoryReserve reserve;
    const Bitmap bitmap = make_bitmap(image);
    if (!bitmap) return "not enough memory";
    const Memory memory = encode(bitmap.get(), image.path);
    BYTE* bytes = nullptr;
    DWORD count = 0;
    if (!memory || !FreeImage_AcquireMemory(memory.get(), &bytes, &count))
        return "its format cannot hold this image";
    return ReplaceFile(image.path, {reinterpret_cast<const char*>(bytes), count});
}

// Pictures are written again and again: a fault that lasts is reported once, to the program around
// the library or by the report.
void report_fault(const std::string& path, const std::string& fault) {
    std::string& last = ImageWriting.faults[path];
    if (last == fault) return;
    last = fault;
    if (Hooks.write_failed != nullptr) return Hooks.write_failed(path, fault);
    ReportWarning("image - " + path + "\tcannot be written: " + fault);
}

} // namespace

bool HoldsFloats(const std::string& path) {
    return contains(path, ".exr", ".EXR") || contains(path, ".hdr", ".HDR") || is_pfm(path);
}

bool CanWriteAs(const std::string& path) {
    constexpr int kBitsOfPixel = 24;
    const bool floats = HoldsFloats(path);
    return std::any_of(kFormats.begin(), kFormats.end(), [&](const FileFormat& row) {
        return contains(path, row.lower, row.upper)
               && (floats ? FreeImage_FIFSupportsExportType(row.format, FIT_RGBF)
                          : FreeImage_FIFSupportsExportBPP(row.format, kBitsOfPixel));
    });
}

bool WriteImage(const Image& image) {
    if (image.path.empty()) return false;
    const std::string fault = save(image);
    if (fault.empty()) {
        ImageWriting.faults.erase(image.path);
        if (Hooks.image_written != nullptr) Hooks.image_written(image);
        return true;
    }
    report_fault(image.path, fault);
    return false;
}

} // namespace mh
