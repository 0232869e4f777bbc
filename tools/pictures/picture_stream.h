// What the helper program for pictures sends: this head, then the text of the fault, or three
// floats for each pixel, the top row first.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace mh {

struct PictureHead {
    std::uint32_t version = 0, fault_bytes = 0;
    std::int32_t width = 0, height = 0;
    std::int32_t is_linear = 0; // light, not values of sRGB
    std::int32_t is_layer = 0;  // the one that was asked for
};

constexpr std::uint32_t kPictureStream = 0x4D500002;
constexpr std::uint32_t kLongestPictureFault = 1024;
constexpr double kMostPicturePixels = 268435456.0;

} // namespace mh
