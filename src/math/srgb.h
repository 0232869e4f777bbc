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

// In 0..1; what is below, or no number, becomes 0.
inline float srgb_of(float linear) {
    constexpr float kKnee = 0.0031308f, kSlope = 12.92f;
    constexpr float kScale = 1.055f, kShift = 0.055f, kExponent = 1.0f / 2.4f;
    if (!(linear > 0.0f)) return 0.0f;
    if (linear <= kKnee) return kSlope * linear;
    return std::fmin(kScale * std::pow(linear, kExponent) - kShift, 1.0f);
}

} // namespace mh
