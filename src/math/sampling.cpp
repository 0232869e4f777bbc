// Sampling maps.
// SPDX-License-Identifier: MIT
#include "math/sampling.h"

#include "math/constants.h"
#include "math/roots.h"

namespace mh {

// In each quarter of the square the coordinate that leads gives the radius, with its sign, and the
// ratio of the two the angle to its axis.
Vec2 concentric_disk(const Vec2& uv) {
    const float a = 2.0f * uv.x - 1.0f;
    const float b = 2.0f * uv.y - 1.0f;
    const bool wide = std::fabs(a) > std::fabs(b);
    const float radius = wide ? a : b;
    if (radius == 0.0f) return {0.0f, 0.0f};
    const float angle = (wide ? b : a) / radius * (kPi / 4.0f);
    const float along = radius * std::cos(angle), across = radius * std::sin(angle);
    return {wide ? along : across, wide ? across : along};
}

Vec3 sample_cosine_local(const Vec2& uv) {
    const Vec2 disk = concentric_disk(uv);
    return {disk.x, disk.y, safe_root(1.0f - disk.x * disk.x - disk.y * disk.y)};
}

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
