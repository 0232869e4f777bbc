// Sizes that image files claim, read from their headers, against the bytes that they have; phase 2.
// Bounds on compression are those of each format's coding: what no encoder can beat.
// SPDX-License-Identifier: MIT
#include "shading/image_guard.h"

#include "math/memory.h"
#include "shading/byte_source.h"
#include "shading/jpeg_segment.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <optional>

namespace mh {

namespace {

constexpr double kDeflate = 1032.0; // best ratio of deflate, in bytes out for a byte in

// Bytes of a decoded pixel.
constexpr double kByteColor = 4.0, kWordColor = 8.0, kFloatColor = 16.0;

// What a header claims: a size in pixels, the fewest bytes of a file that holds so many, and the
// memory that a pixel takes.
struct Claim {
    double width = 0.0, height = 0.0;
    double least_bytes = 0.0;
    double pixel_bytes = kByteColor;
};

using Claimed = std::optional<Claim>; // nothing: the header is cut or damaged

double as_double(std::uint64_t value) {
    return static_cast<double>(value);
}

double blocks(double size, double block) {
    return std::ceil(size / std::max(block, 1.0));
}

Claimed claim_of_png(ByteSource& s) {
    if (!stands_at(s, 12, "IHDR")) return {};
    const double width = as_double(big_endian(s, 16, 4)), height = as_double(big_endian(s, 20, 4));
    constexpr int kChannels[7] = {1, 0, 3, 1, 2, 0, 4}; // by colour type
    const int type = std::min<int>(byte_at(s, 25), 6);
    const double bits = byte_at(s, 24) * kChannels[type];
    return Claim{width, height, height * (1.0 + blocks(width * bits, 8.0)) / kDeflate, kWordColor};
}

// Each block of 64 pixels takes a bit or more.
Claimed claim_of_jpeg(ByteSource& s) {
    constexpr double kPixelsPerByte = 512.0;
    std::uint64_t at = 2;
    while (at + 9 < s.file.size_bytes) {
        const int marker = byte_at(s, at + 1);
        if (byte_at(s, at) != 0xFF) return {};
        const bool frame =
            marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
        if (marker == 0xD9 || marker == 0xDA) return {}; // picture data before its frame
        if (frame) {
            const double height = as_double(big_endian(s, at + 5, 2));
            const double width = as_double(big_endian(s, at + 7, 2));
            return Claim{width, height, width * height / kPixelsPerByte};
        }
        at += jpeg_segment_bytes(marker, big_endian(s, at + 2, 2));
    }
    return {};
}

std::string line_at(ByteSource& s, std::uint64_t& at) {
    constexpr std::size_t kLongest = 4096;
    std::string line;
    while (at < s.file.size_bytes && line.size() < kLongest) {
        const char c = static_cast<char>(byte_at(s, at++));
        if (c == '\n') break;
        line += c;
    }
    return line;
}

// Flat or in runs of up to 127 pixels of two bytes per channel [Ward91].
Claimed claim_of_hdr(ByteSource& s) {
    constexpr double kNarrowestRuns = 8.0, kWidestRuns = 32767.0, kLongestRun = 127.0;
    std::uint64_t at = 0;
    while (at < s.file.size_bytes && !line_at(s, at).empty()) {
    }
    int width = 0, height = 0;
    if (std::sscanf(line_at(s, at).c_str(), "-Y %d +X %d", &height, &width) != 2) return {};
    const bool runs = width >= kNarrowestRuns && width <= kWidestRuns;
    const double row = runs ? 4.0 + 4.0 * 2.0 * blocks(width, kLongestRun) : 4.0 * width;
    return Claim{static_cast<double>(width), static_cast<double>(height), row * height,
                 kFloatColor};
}

std::string text_at(ByteSource& s, std::uint64_t& at) {
    constexpr std::size_t kLongest = 256; // of the names of attributes
    std::string text;
    while (at < s.file.size_bytes && text.size() < kLongest) {
        const char c = static_cast<char>(byte_at(s, at++));
        if (c == '\0') break;
        text += c;
    }
    return text;
}

// Each chunk of rows or tile of pixels has an entry of 8 bytes in the table of offsets.
Claimed claim_of_exr(ByteSource& s) {
    constexpr double kOffsetBytes = 8.0;
    constexpr int kRows[10] = {1, 1, 1, 16, 32, 16, 32, 32, 32, 256}; // of a chunk, by compression
    Claim claim;
    claim.pixel_bytes = kFloatColor;
    double tile_width = 0.0, tile_height = 0.0, rows = 1.0;
    std::uint64_t at = 8;
    for (std::string name = text_at(s, at); !name.empty(); name = text_at(s, at)) {
        text_at(s, at); // the type
        const std::int32_t size = little_endian_int(s, at);
        at += 4;
        if (size < 0 || at + static_cast<std::uint64_t>(size) > s.file.size_bytes) return {};
        if (name == "dataWindow" && size == 16) {
            claim.width = 1.0 + little_endian_int(s, at + 8) - little_endian_int(s, at);
            claim.height = 1.0 + little_endian_int(s, at + 12) - little_endian_int(s, at + 4);
        }
        if (name == "compression") rows = kRows[std::min<int>(byte_at(s, at), 9)];
        if (name == "tiles") {
            tile_width = as_double(little_endian(s, at, 4));
            tile_height = as_double(little_endian(s, at + 4, 4));
        }
        at += static_cast<std::uint64_t>(size);
    }
    const double chunks = tile_width > 0.0
                              ? blocks(claim.width, tile_width) * blocks(claim.height, tile_height)
                              : blocks(claim.height, rows);
    claim.least_bytes = static_cast<double>(at) + kOffsetBytes * chunks;
    return claim;
}

// Tags of the first directory that bear on the size.
struct TiffTags {
    double width = 0.0, height = 0.0, bits = 1.0, samples = 1.0;
    int compression = 1, photometric = 0;
};

void set_tag(TiffTags& tags, std::uint64_t tag, std::uint64_t value) {
    switch (tag) {
    case 256: tags.width = as_double(value); break;
    case 257: tags.height = as_double(value); break;
    case 258: tags.bits = as_double(value); break;
    case 259: tags.compression = static_cast<int>(value & 0xFFFF); break;
    case 262: tags.photometric = static_cast<int>(value & 0xFFFF); break;
    case 277: tags.samples = as_double(value); break;
    default: break;
    }
}

double least_tiff_bytes(const TiffTags& tags) {
    constexpr double kPackBits = 64.0, kLzw = 4096.0, kJpeg = 512.0;
    constexpr int kSubsampled = 6;
    const double samples = tags.photometric == kSubsampled ? 1.0 : tags.samples;
    const double raw = blocks(tags.width * tags.bits * samples, 8.0) * tags.height;
    switch (tags.compression) {
    case 1: return raw;
    case 2:
    case 3:
    case 4: return tags.height / 8.0; // a white row is one bit
    case 5: return raw / kLzw;
    case 6:
    case 7: return tags.width * tags.height / kJpeg;
    case 8:
    case 32946: return raw / kDeflate;
    case 32773: return raw / kPackBits;
    default: return 0.0; // no bound is known
    }
}

Claimed claim_of_tiff(ByteSource& s) {
    const auto number = byte_at(s, 0) == 'M' ? big_endian : little_endian;
    const bool big = number(s, 2, 2) == 43; // offsets of 8 bytes
    const int offset_bytes = big ? 8 : 4;
    const std::uint64_t entry_bytes = big ? 20 : 12, count_bytes = big ? 8 : 2;
    std::uint64_t at = number(s, big ? 8 : 4, offset_bytes);
    const std::uint64_t entries = number(s, at, static_cast<int>(count_bytes));
    at += count_bytes;
    if (at >= s.file.size_bytes || entries > (s.file.size_bytes - at) / entry_bytes) return {};
    TiffTags tags;
    for (std::uint64_t i = 0; i < entries; ++i, at += entry_bytes) {
        constexpr int kBytes[17] = {0, 1, 1, 2, 4, 0, 1, 1, 2, 4, 0, 0, 0, 4, 0, 0, 8}; // by type
        const int bytes = kBytes[std::min<std::uint64_t>(number(s, at + 2, 2), 16)];
        const std::uint64_t count = number(s, at + 4, offset_bytes);
        const bool inside =
            count * static_cast<std::uint64_t>(bytes) <= static_cast<std::uint64_t>(offset_bytes);
        const std::uint64_t field = at + 4 + static_cast<std::uint64_t>(offset_bytes);
        const std::uint64_t place = inside ? field : number(s, field, offset_bytes);
        set_tag(tags, number(s, at, 2), number(s, place, bytes));
    }
    return Claim{tags.width, tags.height, least_tiff_bytes(tags), kFloatColor};
}

Claimed claim_of_bmp(ByteSource& s) {
    constexpr double kPixelsPerByte = 16384.0; // four bytes skip 255 by 255 pixels
    const bool core = little_endian(s, 14, 4) == 12;
    const double width = core ? as_double(little_endian(s, 18, 2)) : little_endian_int(s, 18);
    const double height =
        core ? as_double(little_endian(s, 20, 2)) : std::abs(1.0 * little_endian_int(s, 22));
    const double bits = as_double(little_endian(s, core ? 24 : 28, 2));
    const std::uint64_t compression = core ? 0 : little_endian(s, 30, 4);
    const bool run_lengths = compression == 1 || compression == 2;
    const double least =
        run_lengths ? width * height / kPixelsPerByte : 4.0 * blocks(width * bits, 32.0) * height;
    return Claim{width, height, least};
}

Claimed claim_of_tga(ByteSource& s) {
    constexpr double kLongestRun = 128.0;
    const double width = as_double(little_endian(s, 12, 2));
    const double height = as_double(little_endian(s, 14, 2));
    const double bytes = blocks(byte_at(s, 16), 8.0);
    const bool runs = byte_at(s, 2) >= 9;
    const double pixels = width * height;
    return Claim{width, height, runs ? pixels / kLongestRun * (1.0 + bytes) : pixels * bytes};
}

Claimed claim_of_gif(ByteSource& s) {
    constexpr double kPixelsPerByte = 4096.0; // strings of the longest table
    const double width = as_double(little_endian(s, 6, 2));
    const double height = as_double(little_endian(s, 8, 2));
    return Claim{width, height, width * height / kPixelsPerByte};
}

// The next number of a text header; comments run from # to the end of the line. -1 without one.
double number_at(ByteSource& s, std::uint64_t& at) {
    constexpr double kLargest = 1e12;
    bool comment = false;
    for (; at < s.file.size_bytes; ++at) {
        const int c = byte_at(s, at);
        if (c == '#') comment = true;
        if (c == '\n' || c == '\r') comment = false;
        if (comment || c == ' ' || c == '\t' || c == '\n' || c == '\r') continue;
        break;
    }
    double value = -1.0;
    for (int c = byte_at(s, at); c >= '0' && c <= '9' && value < kLargest; c = byte_at(s, ++at))
        value = std::max(value, 0.0) * 10.0 + (c - '0');
    return value;
}

Claimed claim_of_pfm(ByteSource& s) {
    std::uint64_t at = 2;
    const double width = number_at(s, at), height = number_at(s, at);
    const double channels = byte_at(s, 1) == 'F' ? 3.0 : 1.0;
    return Claim{width, height, width * height * channels * sizeof(float), kFloatColor};
}

// P1 to P3 are text with a digit or more a value, P4 to P6 bits, grey and colours.
Claimed claim_of_pnm(ByteSource& s) {
    std::uint64_t at = 2;
    const int kind = byte_at(s, 1) - '0';
    const double width = number_at(s, at), height = number_at(s, at);
    const double largest = kind == 1 || kind == 4 ? 1.0 : number_at(s, at);
    if (!(largest >= 1.0)) return {};
    constexpr double kLargestByte = 255.0;
    const double values = width * height * (kind == 3 || kind == 6 ? 3.0 : 1.0);
    if (kind == 4) return Claim{width, height, blocks(width, 8.0) * height};
    if (kind > 4)
        return Claim{width, height, largest > kLargestByte ? 2.0 * values : values, kWordColor};
    return Claim{width, height, kind == 1 ? values : 2.0 * values - 1.0, kWordColor};
}

Claimed claim_of(ByteSource& s, ImageFormat format) {
    switch (format) {
    case ImageFormat::bmp: return claim_of_bmp(s);
    case ImageFormat::exr: return claim_of_exr(s);
    case ImageFormat::gif: return claim_of_gif(s);
    case ImageFormat::hdr: return claim_of_hdr(s);
    case ImageFormat::jpeg: return claim_of_jpeg(s);
    case ImageFormat::pfm: return claim_of_pfm(s);
    case ImageFormat::png: return claim_of_png(s);
    case ImageFormat::pnm: return claim_of_pnm(s);
    case ImageFormat::tga: return claim_of_tga(s);
    case ImageFormat::tiff: return claim_of_tiff(s);
    }
    std::abort();
}

} // namespace

ImageHeader ReadImageHeader(const std::string& file, ImageFormat format) {
    constexpr double kCopies = 2.0; // the decoder's pixels and ours
    ByteSource source = {OpenInput(file)};
    if (!source.file) return {"cannot be opened"};
    const Claimed claim = claim_of(source, format);
    if (!claim) return {"has a damaged header"};
    if (!(claim->width >= 1.0 && claim->height >= 1.0)) return {"has no pixels"};
    const double pixels = claim->width * claim->height, bytes = pixels * claim->pixel_bytes;
    if (pixels > kMostPixels) return {"has more than 2^28 pixels"};
    if (claim->least_bytes > as_double(source.file.size_bytes))
        return {"is too short for its size in pixels"};
    if (!FitsMemory(kCopies * bytes)) return {"needs more memory than there is"};
    return {{}, pixels, bytes};
}

} // namespace mh
