// Sampling maps.
// SPDX-License-Identifier: MIT
#include "math/sampling.h"

#include "math/constants.h"
#include "math/roots.h"

namespace mh {

// In each quarter of the square one coordinate leads: with its sign it gives the radius, and the
// ratio of the two the angle to its axis. Which of them it is, is as good as random: no branch.
Vec2 concentric_disk(const Vec2& uv) {
    const float square[2] = {2.0f * uv.x - 1.0f, 2.0f * uv.y - 1.0f};
    const int lead = std::fabs(square[0]) > std::fabs(square[1]) ? 0 : 1;
    const float radius = square[lead];
    if (radius == 0.0f) return {0.0f, 0.0f};
    const float angle = square[1 - lead] / radius * (kPi / 4.0f);
    float disk[2];
    disk[lead] = radius * std::cos(angle);
    disk[1 - lead] = radius * std::sin(angle);
    return {disk[0], disk[1]};
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
