// Whether pieces cover a picture: boxes of columns, rows and frames without overlaps and gaps.
// SPDX-License-Identifier: MIT
#pragma once

#include "output/types.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace mh {

struct PieceBox {
    PixelRegion region;
    std::uint32_t first = 0, end = 0; // frames
};

// Two boxes that share a sample of a pixel, by their places.
std::optional<std::array<std::size_t, 2>> FindOverlap(std::span<const PieceBox> boxes);

// A sample of a pixel of the whole that is in none of the boxes: "frames 4 to 7 of columns 0 to 99
// and rows 0 to 49". Empty when there is none.
std::string FindGap(std::span<const PieceBox> boxes, const PieceBox& whole);

} // namespace mh
