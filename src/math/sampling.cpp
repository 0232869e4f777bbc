// Sampling maps.
// SPDX-License-Identifier: MIT
#include "math/sampling.h"

#include "math/constants.h"
#include "math/roots.h"

namespace mh {

Vec3 sample_sphere(const Vec2& uv) {
    const float z = 1.0f - 2.0f * uv.y;
    const float r = 2.0f * safe_root(uv.y * (1.0f - uv.y));
    const float phi = kTwoPi * uv.x;
    return {r * std::cos(phi), r * std::sin(phi), z};
}

Vec3 sample_cone_local(const Vec2& uv, float one_minus_cos) {
    const float depth = one_minus_cos * uv.y; // 1 - z
    const float r = safe_root(depth * (2.0f - depth));
    const float phi = kTwoPi * uv.x;
    return {r * std::cos(phi), r * std::sin(phi), 1.0f - depth};
}

} // namespace mh
