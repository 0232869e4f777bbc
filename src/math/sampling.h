// Maps from pairs of uniform numbers to disks, hemispheres, cones and spheres.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/constants.h"
#include "math/roots.h"
#include "math/select.h"
#include "math/vec3.h"

#include <algorithm>

namespace mh {

// Uniform on the unit disk by the concentric map [ShirleyChiu97]; u, v in [0, 1]. In each quarter
// of the square one coordinate leads: its size gives the radius, and the ratio of the two the angle
// to its axis. Each coordinate of the disk has the sign of its own.
inline Vec2 concentric_disk(const Vec2& uv) {
    const float x = 2.0f * uv.x - 1.0f, y = 2.0f * uv.y - 1.0f;
    const float size_x = std::fabs(x), size_y = std::fabs(y);
    const float radius = std::max(size_x, size_y);
    if (radius == 0.0f) return {0.0f, 0.0f};
    const float angle = std::min(size_x, size_y) / radius * (kPi / 4.0f);
    const float along = radius * std::cos(angle), across = radius * std::sin(angle);
    const bool x_leads = size_x > size_y;
    return {std::copysign(select(x_leads, along, across), x),
            std::copysign(select(x_leads, across, along), y)};
}

// Density cos / pi about the third axis, as (x, y, z) of the local frame; z > 0.
inline Vec3 sample_cosine_local(const Vec2& uv) {
    const Vec2 disk = concentric_disk(uv);
    return {disk.x, disk.y, safe_root(1.0f - disk.x * disk.x - disk.y * disk.y)};
}

// Uniform on the unit sphere: z = 1 - 2 v, r = 2 sqrt(v (1 - v)), angle 2 pi u.
Vec3 sample_sphere(const Vec2& uv);

// Uniform in the cone of directions whose cosine with the third axis is 1 - one_minus_cos or
// more, in the local frame. The complement is handed over so that narrow cones keep their digits.
Vec3 sample_cone_local(const Vec2& uv, float one_minus_cos);

} // namespace mh
