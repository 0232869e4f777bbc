// Sums of the unit vectors of a set that lie within an angle of an axis. Small sets are scanned;
// large ones, the faces around the pole of a fan, are searched by a tree.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/vec3.h"

#include <array>
#include <cstdint>
#include <vector>

namespace mh {

// A box around the directions first .. first + count - 1 of the set.
struct DirectionNode {
    Vec3 min, max;
    std::array<double, 3> sum = {};
    std::uint32_t first = 0, count = 0;
    std::uint32_t left = 0; // children are left and left + 1; 0 in a leaf
};

struct DirectionSet {
    std::vector<Vec3> directions;
    std::vector<DirectionNode> nodes; // root at 0; empty for a small set
};

// Prepares the set for sums; reorders a large one.
void Index(DirectionSet& set);

// Sum of the directions whose dot product with the axis, a member of the set, is at least
// `smallest_cosine`, and of those that equal it.
Vec3 sum_within(const DirectionSet& set, const Vec3& axis, float smallest_cosine);

} // namespace mh
