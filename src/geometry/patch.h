// The curved triangular patch through three points with normals, and its grid of points. All points
// of an edge depend on the two ends of that edge alone and come out the same, bit for bit, from
// both faces that share it, so that patches meet without a crack.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/vec3.h"

#include <array>
#include <cstdint>

namespace mh {

struct OrientedPoint {
    Vec3 position, normal; // unit
};

struct Barycentric {
    float a = 0.0f, b = 0.0f, c = 0.0f; // weights of the corners
};

// A grid of level n has rows 0..n; row r has r + 1 points.
constexpr std::uint64_t grid_row_start(std::uint64_t row) {
    return row * (row + 1) / 2;
}

constexpr std::uint64_t grid_points(std::uint64_t level) {
    return grid_row_start(level + 1);
}

// Weights of point j of a row, on the lattice of multiples of 1 / 22403.
Barycentric grid_weights(std::uint64_t level, std::uint64_t row, std::uint64_t j);

// A point between two oriented points, at b for t = 0 and at a for t = 1, on a curve that leaves
// both at right angles to their normals.
OrientedPoint blend(float t, const OrientedPoint& a, const OrientedPoint& b);

Vec3 patch_point(const std::array<OrientedPoint, 3>& corners, const Barycentric& weights);

} // namespace mh
