// Areas and normals of triangles and of quads that need not be exactly flat.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/roots.h"

namespace mh {

// Heron's formula over squared edge lengths, 0.25 safe_root((a + b + c)^2 - 2 (a^2 + b^2 + c^2)).
float triangle_area(const Vec3& p0, const Vec3& p1, const Vec3& p2);

// Bretschneider's formula over squared diagonals p, q and sides a, b, c, d:
// 0.25 safe_root(4 p q - (a - b + c - d)^2).
float tetragon_area(const Vec3& p0, const Vec3& p1, const Vec3& p2, const Vec3& p3);

// Unit normal (p1 - p0) x (p2 - p0); zero for a triangle without area.
inline Vec3 triangle_normal(const Vec3& p0, const Vec3& p1, const Vec3& p2) {
    return unit_direction(cross(p1 - p0, p2 - p0));
}

// Unit normal of the diagonals, (p2 - p0) x (p3 - p1).
inline Vec3 tetragon_normal(const Vec3& p0, const Vec3& p1, const Vec3& p2, const Vec3& p3) {
    return unit_direction(cross(p2 - p0, p3 - p1));
}

} // namespace mh
