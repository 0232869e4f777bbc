// The segments of JPEG files, by which headers are found and metadata is dropped.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace mh {

// Bytes from a marker to the next one: 1 for a fill byte, 2 for a marker without a
// segment, otherwise the marker and a segment of this length.
constexpr std::uint64_t jpeg_segment_bytes(int marker, std::uint64_t length) {
    if (marker == 0xFF) return 1;
    const bool alone = marker == 0x01 || (marker >= 0xD0 && marker <= 0xD8);
    return alone ? 2 : 2 + length;
}

} // namespace mh
