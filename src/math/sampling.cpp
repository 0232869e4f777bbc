// Sampling maps.
// SPDX-License-Identifier: MIT
#include "math/sampling.h"

#include "math/constants.h"
#include "math/roots.h"

namespace mh {

Vec2 concentric_disk(const Vec2& uv) {
    const float a = 2.0f * uv.x - 1.0f;
    const float b = 2.0f * uv.y - 1.0f;
    float r = 0.0f, phi = 0.0f; // phi in units of pi / 4
    if (a > -b) {
        r = a > b ? a : b;
        phi = a > b ? b / a : 2.0f - a / b;
    } else {
        r = b > a ? -a : -b;
        if (r == 0.0f) return {0.0f, 0.0f};
        phi = b > a ? b / a + 4.0f : 6.0f - a / b;
    }
    const float angle = phi * (kPi / 4.0f);
    return {r * std::cos(angle), r * std::sin(angle)};
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
