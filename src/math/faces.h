// Areas and normals of triangles and of tetragons, which need not be exactly flat.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/roots.h"

namespace mh {

// Half the cross product of two edges, and of the diagonals of a tetragon, in double: what Heron's
// and Bretschneider's formulas give, without their cancellation on thin faces. 0 for a face without
// area: the root has no floor, since the light of a lamp is proportional to its area.
float triangle_area(const Vec3& p0, const Vec3& p1, const Vec3& p2);
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
