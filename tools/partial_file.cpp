// Partial files: a magic line, the header with its size and check sum, the data of each plane with a
// check sum.
// SPDX-License-Identifier: MIT
#include "partial_file.h"

#include "byte_fields.h"
#include "math/digest.h"
#include "output/file_writer.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace mh {

namespace {

constexpr std::string_view kMagic = "moonhare partial 1\n";
constexpr std::uint32_t kByteOrder = 0x01020304;
constexpr std::uint64_t kLargestHeader = 1u << 24;
constexpr std::uint64_t kBlock = 1u << 20; // bytes that are read and summed at once
constexpr std::int32_t kLargestSide = 1 << 24;
constexpr const char* kDamaged = "is damaged";

using Size = std::uint64_t;

std::uint64_t sum_of(std::string_view bytes) {
    Digest digest;
    for (; bytes.size() > kBlock; bytes.remove_prefix(kBlock))
        add(digest, bytes.substr(0, kBlock));
    add(digest, bytes);
    return digest.value;
}

std::string bytes_of(const PieceHeader& header) {
    const PictureHeader& picture = header.picture;
    std::string bytes;
    put(bytes, kByteOrder);
    put_text(bytes, picture.program);
    put(bytes, picture.scene);
    put_text(bytes, picture.settings);
    put(bytes, picture.frames);
    put(bytes, picture.width);
    put(bytes, picture.height);
    put(bytes, picture.region);
    put(bytes, picture.exr_floats);
    put(bytes, header.region);
    put(bytes, header.first);
    put(bytes, header.end);
    put(bytes, static_cast<Size>(picture.planes.size()));
    for (const PlaneHeader& plane : picture.planes) {
        put_text(bytes, plane.name);
        put(bytes, plane.kind);
        put(bytes, plane.width);
        put(bytes, plane.height);
        put(bytes, plane.channels);
        put(bytes, plane.channel);
    }
    return bytes;
}

void take_plane(Bytes& bytes, PlaneHeader& plane) {
    take_text(bytes, plane.name);
    take(bytes, plane.kind);
    take(bytes, plane.width);
    take(bytes, plane.height);
    take(bytes, plane.channels);
    take(bytes, plane.channel);
}

bool is_inside(const PixelRegion& region, const PictureHeader& picture) {
    return region.x0 >= 0 && region.y0 >= 0 && region.x0 < region.x1 && region.y0 < region.y1
           && region.x1 <= picture.width && region.y1 <= picture.height;
}

bool is_size(std::int32_t width, std::int32_t height) {
    return width > 0 && height > 0 && width <= kLargestSide && height <= kLargestSide;
}

bool is_valid(const PlaneHeader& plane, const PictureHeader& picture) {
    const bool known = plane.kind <= PlaneKind::derived;
    const bool fits = plane.width == picture.width && plane.height == picture.height;
    const bool of_other_camera = plane.kind == PlaneKind::black;
    const bool one_channel = plane.kind == PlaneKind::part && plane.channels == 1;
    return known && (plane.channels == 3 || one_channel) && is_size(plane.width, plane.height)
           && (fits || of_other_camera);
}

bool is_valid(const PieceHeader& header) {
    const PictureHeader& picture = header.picture;
    return is_size(picture.width, picture.height) && is_inside(header.region, picture)
           && is_inside(picture.region, picture) && header.first < header.end
           && header.end <= picture.frames
           && std::all_of(picture.planes.begin(), picture.planes.end(),
                          [&](const PlaneHeader& plane) { return is_valid(plane, picture); });
}

// False when the bytes are no header.
bool take_header(Bytes& bytes, PieceHeader& header) {
    PictureHeader& picture = header.picture;
    Size planes = 0;
    take_text(bytes, picture.program);
    take(bytes, picture.scene);
    take_text(bytes, picture.settings);
    take(bytes, picture.frames);
    take(bytes, picture.width);
    take(bytes, picture.height);
    take(bytes, picture.region);
    take(bytes, picture.exr_floats);
    take(bytes, header.region);
    take(bytes, header.first);
    take(bytes, header.end);
    take(bytes, planes);
    for (Size i = 0; bytes.good && i < planes; ++i)
        take_plane(bytes, picture.planes.emplace_back());
    return bytes.good && bytes.rest.empty() && is_valid(header);
}

bool read(std::FILE* file, std::string& bytes, Size size) {
    bytes.resize(size);
    return std::fread(bytes.data(), 1, size, file) == size;
}

bool read_number(std::FILE* file, Size& number) {
    return std::fread(&number, sizeof number, 1, file) == 1;
}

std::string read_header(InputFile& input, PieceHeader& header, Size& position) {
    std::FILE* file = input.handle.get();
    std::string bytes;
    Size size = 0, sum = 0;
    if (!read(file, bytes, std::min<Size>(kMagic.size(), input.size_bytes)) || bytes != kMagic)
        return "is no partial file";
    if (!read_number(file, size) || size > std::min(kLargestHeader, input.size_bytes))
        return kDamaged;
    if (!read(file, bytes, size) || !read_number(file, sum) || sum != sum_of(bytes))
        return kDamaged;
    position = kMagic.size() + size + 2 * sizeof(Size);
    Bytes fields = {bytes};
    std::uint32_t order = 0;
    take(fields, order);
    if (order != kByteOrder) return "was written by a machine of another kind";
    return take_header(fields, header) ? std::string() : kDamaged;
}

// Goes over the data block by block; false when it ends early or is not what was written.
bool check_data(std::FILE* file, Size size, Size& sum) {
    Digest digest;
    std::string block;
    do {
        const Size part = std::min(size, kBlock);
        if (!read(file, block, part)) return false;
        add(digest, block);
        size -= part;
    } while (size > 0);
    return read_number(file, sum) && sum == digest.value;
}

} // namespace

std::uint64_t data_size(const PieceHeader& header, const PlaneHeader& plane) {
    const auto channels = static_cast<Size>(plane.channels);
    switch (plane.kind) {
    case PlaneKind::part:
    case PlaneKind::sums: {
        const PixelRegion& region = header.region;
        return channels * static_cast<Size>(region.x1 - region.x0)
               * static_cast<Size>(region.y1 - region.y0) * sizeof(FixedPoint);
    }
    case PlaneKind::whole:
        return channels * static_cast<Size>(plane.width) * static_cast<Size>(plane.height)
               * sizeof(float);
    case PlaneKind::derived:
    case PlaneKind::black: return 0;
    }
    std::abort();
}

std::string WritePartial(const std::string& path, const PieceHeader& header,
                         std::span<const std::string_view> data) {
    const std::string fields = bytes_of(header);
    std::string start(kMagic);
    put_text(start, fields);
    put(start, sum_of(fields));
    std::vector<std::string> sums;
    for (const std::string_view plane : data)
        put(sums.emplace_back(), sum_of(plane));
    std::vector<std::string_view> parts = {start};
    for (std::size_t i = 0; i < data.size(); ++i) {
        parts.push_back(data[i]);
        parts.push_back(sums[i]);
    }
    return ReplaceFile(path, parts);
}

std::string ReadPartial(const std::string& path, PartialFile& file) {
    InputFile input = OpenInput(path, Origin::user);
    if (!input) return "cannot be read";
    Size position = 0;
    if (std::string fault = read_header(input, file.header, position); !fault.empty()) return fault;
    for (const PlaneHeader& plane : file.header.picture.planes) {
        file.offsets.push_back(position);
        position += data_size(file.header, plane) + sizeof(Size);
        if (position > input.size_bytes) return kDamaged;
    }
    if (position != input.size_bytes) return kDamaged;
    for (const PlaneHeader& plane : file.header.picture.planes)
        if (!check_data(input.handle.get(), data_size(file.header, plane),
                        file.check_sums.emplace_back()))
            return kDamaged;
    return {};
}

bool IsPartial(const std::string& path) {
    InputFile input = OpenInput(path, Origin::user);
    std::string bytes;
    return input && read(input.handle.get(), bytes, std::min<Size>(kMagic.size(), input.size_bytes))
           && bytes == kMagic;
}

} // namespace mh
