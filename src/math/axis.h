// Coordinates of vectors by the number of their axis: 0 x, 1 y, 2 z.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/vec3.h"

namespace mh {

constexpr float component(const Vec3& v, int axis) {
    return axis == 0 ? v.x : axis == 1 ? v.y : v.z;
}

constexpr void set_component(Vec3& v, int axis, float value) {
    (axis == 0 ? v.x : axis == 1 ? v.y : v.z) = value;
}

// The size of the coordinate farthest from 0.
constexpr float largest_coordinate(const Vec3& v) {
    return max_channel(max(v, -v));
}

constexpr int longest_axis(const Vec3& size) {
    if (size.x >= size.y && size.x >= size.z) return 0;
    return size.y >= size.z ? 1 : 2;
}

} // namespace mh
