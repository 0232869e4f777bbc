// Partial files: the data of each plane is a section.
// SPDX-License-Identifier: MIT
#include "pieces/partial_file.h"

#include "pieces/byte_fields.h"
#include "pieces/section_file.h"

#include <algorithm>
#include <cstdlib>

namespace mh {

namespace {

constexpr FileKind kKind = {"partial", "partial file", 2};
constexpr std::int32_t kLargestSide = 1 << 24;

using Size = std::uint64_t;

std::string bytes_of(const PieceHeader& header) {
    const PictureHeader& picture = header.picture;
    std::string bytes;
    put(bytes, picture.identity);
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

bool ParsePieceHeader(std::string_view fields, PieceHeader& header) {
    Bytes bytes = {fields};
    PictureHeader& picture = header.picture;
    Size planes = 0;
    take(bytes, picture.identity);
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

std::string WritePartial(const std::string& path, const PieceHeader& header,
                         std::span<const std::string_view> data) {
    return WriteSections(path, kKind, bytes_of(header), data);
}

std::string ReadPartial(const std::string& path, PartialFile& file) {
    SectionFile checked;
    if (std::string fault = OpenSections(path, kKind, checked); !fault.empty()) return fault;
    if (!ParsePieceHeader(checked.header, file.header)) return kDamaged;
    Size position = checked.data;
    for (const PlaneHeader& plane : file.header.picture.planes) {
        file.offsets.push_back(position);
        position += data_size(file.header, plane) + kSumSize;
        if (position > checked.input.size_bytes) return kDamaged;
    }
    if (position != checked.input.size_bytes) return kDamaged;
    for (const PlaneHeader& plane : file.header.picture.planes)
        if (!CheckSection(checked, data_size(file.header, plane), file.check_sums.emplace_back()))
            return kDamaged;
    return {};
}

bool IsNoPartial(const std::string& path) {
    return IsOfOtherKind(path, kKind);
}

} // namespace mh
