// Sampling maps.
// SPDX-License-Identifier: MIT
#include "math/sampling.h"

#include "math/constants.h"
#include "math/roots.h"

#include <algorithm>
#include <cmath>

namespace mh {

Vec3 sample_sphere(const Vec2& uv) {
    const float z = 1.0f - 2.0f * uv.y;
    const float r = 2.0f * safe_root(uv.y * (1.0f - uv.y));
    const float phi = kTwoPi * uv.x;
    return {r * std::cos(phi), r * std::sin(phi), z};
}

Vec3 sample_cone_local(const Vec2& uv, float one_minus_cos) {
    const float depth = one_minus_cos * uv.y; // 1 - z
    // A plain root: with safe_root no direction would be within 1e-5 radians of the axis.
    const float r = std::sqrt(std::max(depth * (2.0f - depth), 0.0f));
    const float phi = kTwoPi * uv.x;
    return {r * std::cos(phi), r * std::sin(phi), 1.0f - depth};
}

} // namespace mh
