// The transfer curve of sRGB pictures, IEC 61966-2-1.
// SPDX-License-Identifier: MIT
#pragma once

#include <cmath>

namespace mh {

inline float linear_of_srgb(float value) {
    constexpr float kKnee = 0.04045f, kSlope = 12.92f;
    constexpr float kScale = 1.055f, kShift = 0.055f, kExponent = 2.4f;
    return value <= kKnee ? value / kSlope : std::pow((value + kShift) / kScale, kExponent);
}

} // namespace mh
