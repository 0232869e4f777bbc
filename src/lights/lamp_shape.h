// Points on a lamp as they are drawn for one point of the scene: evenly over the solid angle that
// the lamp fills there where that is large, evenly over its area where it is small. Private to this
// folder.
// SPDX-License-Identifier: MIT
#pragma once

#include "lights/types.h"

namespace mh {

// Sets what follows from the corner and the edges. The lamp shines to the side of the cross product
// of its edges, or to the other one.
void FinishLamp(Lamp& lamp, bool along_product);

struct LampPoint {
    Vec3 direction; // to the point, unit
    float distance = 0.0f;
    float density = 0.0f; // of the direction, 1/sr; 0: the lamp does not shine on the point
};

// The point of the lamp for uv in the unit square, as seen from `from`.
LampPoint sample_lamp(const Lamp& lamp, const Vec3& from, const Vec2& uv);

// The density that sample_lamp has for a direction in which the lamp is hit at this distance.
float lamp_density(const Lamp& lamp, const Vec3& from, const Vec3& direction, float distance);

// Coordinates of a point in the lamp's plane along its edges.
Vec2 place_on(const Lamp& lamp, const Vec3& position);

// Solid angle of the triangle between unit vectors a, b and c [VanOosteromStrackee83].
float triangle_solid_angle(const Vec3& a, const Vec3& b, const Vec3& c);

} // namespace mh
