// Arc functions without branches, so that loops over them run several at a time; errors stay below
// 4e-7 radians.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/constants.h"

#include <cmath>

namespace mh {

// atan t for |t| <= tan(pi / 8): the minimax polynomial of (atan t - t) / t^3 in t^2.
inline float short_arc(float t) {
    const float t2 = t * t;
    const float series =
        ((0.0806030027f * t2 - 0.13879847f) * t2 + 0.199779258f) * t2 - 0.333329552f;
    return series * t2 * t + t;
}

// Angle of the point (x, y) to the first axis, -pi..pi; 0 at the origin. Longer arcs in an octant
// are pi / 4 + atan((t - 1) / (t + 1)).
inline float arc_tangent(float y, float x) {
    constexpr float kTangentOfEighth = 0.41421356f, kTiny = 1e-37f;
    const float ax = std::fabs(x), ay = std::fabs(y);
    const float low = ax < ay ? ax : ay, high = ax < ay ? ay : ax;
    const bool wide = low > kTangentOfEighth * high;
    const float numerator = wide ? low - high : low;
    const float denominator = wide ? low + high : high;
    const float arc = short_arc(numerator / (denominator > kTiny ? denominator : kTiny));
    const float octant = arc + (wide ? kPi / 4.0f : 0.0f);
    const float quadrant = ax < ay ? kPi / 2.0f - octant : octant;
    return std::copysign(x < 0.0f ? kPi - quadrant : quadrant, y);
}

// Angle whose cosine is z, 0..pi; z is cut to -1..1.
inline float arc_cosine(float z) {
    const float below = z < 1.0f ? z : 1.0f;
    const float c = below > -1.0f ? below : -1.0f;
    return arc_tangent(std::sqrt((1.0f - c) * (1.0f + c)), c);
}

} // namespace mh
