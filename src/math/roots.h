// The one square root and the one normalisation of the renderer: both are finite for every input
// that is, so that degenerate geometry yields numbers and not NaNs.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/vec3.h"

#include <cmath>

namespace mh {

// Below this a squared length is too small for its float root to mean anything.
constexpr float kSmallestSquare = 1e-10f;
constexpr float kSmallestRoot = 1e-5f;
constexpr float kLargestSquare = 1e30f; // above it a few more operations overflow

// sqrt(x) when x exceeds 1e-10, otherwise 1e-5; also 1e-5 for NaN.
inline float safe_root(float x) {
    return x > kSmallestSquare ? std::sqrt(x) : kSmallestRoot;
}

inline float length(const Vec3& v) {
    return safe_root(dot(v, v));
}

// A zero vector stays zero; one shorter than 1e-5 is scaled by 1e5.
inline Vec3 normalize(const Vec3& v) {
    const float square = dot(v, v);
    return square == 0.0f ? v : v * (1.0f / safe_root(square));
}

// Unit length whatever the scale of v, for the normals of tiny and of huge faces; zero only for
// zero and for what is not finite.
inline Vec3 unit_direction(const Vec3& v) {
    const float square = dot(v, v);
    if (square > kSmallestSquare && square < kLargestSquare) return v * (1.0f / std::sqrt(square));
    const float largest = std::fmax(std::fabs(v.x), std::fmax(std::fabs(v.y), std::fabs(v.z)));
    return largest > 0.0f && is_finite(v) ? normalize(v / largest) : Vec3{};
}

} // namespace mh
