// Partial files: the sums of some frames of a picture's region, with what tells whether two of them
// belong to one picture. The layout is that of this machine. They are read like any file from
// elsewhere: every size is compared with that of the file before anything is allocated.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/fixed_point.h"
#include "output/types.h"
#include "pieces/identity.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace mh {

enum class PlaneKind : std::uint8_t {
    sums = 0,    // of the frames: FixedPoint for each channel of the region's pixels, row by row
    whole = 1,   // the same in every piece: floats of the whole picture, row by row
    black = 2,   // the whole picture, without data
    part = 3,    // sums that have no file, of which images are derived
    derived = 4, // without data, of the parts
};

// An image of the picture.
struct PlaneHeader {
    std::string name; // of the file that it becomes
    PlaneKind kind = PlaneKind::black;
    std::int32_t width = 0, height = 0, channels = 0; // of the whole picture
    std::uint32_t channel = 0;                        // what is derived: bits of Channel

    bool operator==(const PlaneHeader&) const = default;
};

// What all pieces of a picture share.
struct PictureHeader {
    Identity identity;
    std::uint32_t frames = 0;
    std::int32_t width = 0, height = 0;
    PixelRegion region; // that the scene itself renders
    std::uint8_t exr_floats = 0;
    std::vector<PlaneHeader> planes;

    bool operator==(const PictureHeader&) const = default;
};

struct PieceHeader {
    PictureHeader picture;
    PixelRegion region;
    std::uint32_t first = 0, end = 0; // frames first to end - 1

    bool operator==(const PieceHeader&) const = default;
};

struct PartialFile {
    PieceHeader header;
    std::vector<std::uint64_t> offsets, check_sums; // of the planes' data
};

// Bytes of the plane's data in this piece.
std::uint64_t data_size(const PieceHeader& header, const PlaneHeader& plane);

// One view of the data for each plane. Empty on success, else why the older file stands.
std::string WritePartial(const std::string& path, const PieceHeader& header,
                         std::span<const std::string_view> data);

// The fields of a header; false when the bytes are none.
bool ParsePieceHeader(std::string_view bytes, PieceHeader& header);

// Reads the header and checks all of the file. Empty on success, else what is wrong.
std::string ReadPartial(const std::string& path, PartialFile& file);

// Whether there is a file of some other kind.
bool IsNoPartial(const std::string& path);

} // namespace mh
