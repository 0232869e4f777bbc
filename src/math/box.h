// Axis-aligned boxes. The default box is empty: it contains nothing and merges as the neutral one.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/constants.h"
#include "math/vec3.h"

namespace mh {

struct Aabb {
    Vec3 min = {kFar, kFar, kFar};
    Vec3 max = {-kFar, -kFar, -kFar};
};

constexpr void merge(Aabb& box, const Vec3& p) {
    box.min = min(p, box.min);
    box.max = max(p, box.max);
}

constexpr void merge(Aabb& box, const Aabb& other) {
    box.min = min(other.min, box.min);
    box.max = max(other.max, box.max);
}

constexpr Vec3 center(const Aabb& box) {
    return 0.5f * (box.min + box.max);
}

// Half the surface area; every cost in the trees uses it. Extents below 0 count as 0.
constexpr float half_area(const Aabb& box) {
    const Vec3 d = max(box.max - box.min, Vec3{});
    return (d.y + d.z) * d.x + d.y * d.z;
}

// All six planes of inner lie within outer, limits included.
constexpr bool contains(const Aabb& outer, const Aabb& inner) {
    return inner.min.x >= outer.min.x && inner.min.y >= outer.min.y && inner.min.z >= outer.min.z
           && inner.max.x <= outer.max.x && inner.max.y <= outer.max.y
           && inner.max.z <= outer.max.z;
}

constexpr bool contains(const Aabb& box, const Vec3& p) {
    return contains(box, Aabb{p, p});
}

} // namespace mh
