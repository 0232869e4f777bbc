// Scan and tree of direction sets.
// SPDX-License-Identifier: MIT
#include "geometry/direction_set.h"

#include <algorithm>

namespace mh {

namespace {

constexpr std::uint32_t kScanned = 64;   // below this a scan is as fast as the tree
constexpr std::uint32_t kLeaf = 16;      // directions of a leaf
constexpr float kBoundMargin = 1e-6f;    // rounding of a dot product of unit vectors
constexpr std::size_t kMostPending = 64; // a balanced tree over 2^32 is 32 deep

DirectionNode bound(const std::vector<Vec3>& directions, std::uint32_t first, std::uint32_t count) {
    DirectionNode node = {directions[first], directions[first], {}, first, count, 0};
    for (std::uint32_t i = first; i < first + count; ++i) {
        const Vec3& d = directions[i];
        node.min = min(d, node.min);
        node.max = max(d, node.max);
        node.sum[0] += static_cast<double>(d.x);
        node.sum[1] += static_cast<double>(d.y);
        node.sum[2] += static_cast<double>(d.z);
    }
    return node;
}

float Vec3::*widest_axis(const DirectionNode& node) {
    const Vec3 d = node.max - node.min;
    if (d.x >= d.y && d.x >= d.z) return &Vec3::x;
    return d.y >= d.z ? &Vec3::y : &Vec3::z;
}

// Halves the node by number along its widest axis.
void split(DirectionSet& set, std::size_t index) {
    const DirectionNode node = set.nodes[index];
    float Vec3::*const axis = widest_axis(node);
    const std::uint32_t half = node.count / 2;
    const auto first = set.directions.begin() + node.first;
    std::nth_element(first, first + half, first + node.count,
                     [&](const Vec3& a, const Vec3& b) { return a.*axis < b.*axis; });
    set.nodes[index].left = static_cast<std::uint32_t>(set.nodes.size());
    set.nodes.push_back(bound(set.directions, node.first, half));
    set.nodes.push_back(bound(set.directions, node.first + half, node.count - half));
}

Vec3 scan(const DirectionSet& set, const Vec3& axis, float smallest_cosine) {
    Vec3 sum;
    for (const Vec3& d : set.directions)
        if (dot(axis, d) >= smallest_cosine || d == axis) sum += d;
    return sum;
}

// Least and greatest dot product of the axis with a point of the box.
struct Bounds {
    float least, greatest;
};

Bounds dot_bounds(const DirectionNode& node, const Vec3& axis) {
    const Vec3 a = axis * node.min, b = axis * node.max;
    return {sum(min(a, b)), sum(max(a, b))};
}

void add_leaf(const DirectionSet& set, const DirectionNode& node, const Vec3& axis,
              float smallest_cosine, std::array<double, 3>& total) {
    for (std::uint32_t i = node.first; i < node.first + node.count; ++i) {
        const Vec3& d = set.directions[i];
        if (!(dot(axis, d) >= smallest_cosine) && !(d == axis)) continue;
        total[0] += static_cast<double>(d.x);
        total[1] += static_cast<double>(d.y);
        total[2] += static_cast<double>(d.z);
    }
}

} // namespace

void Index(DirectionSet& set) {
    set.nodes.clear();
    const auto count = static_cast<std::uint32_t>(set.directions.size());
    if (count <= kScanned) return;
    set.nodes.push_back(bound(set.directions, 0, count));
    for (std::size_t i = 0; i < set.nodes.size(); ++i)
        if (set.nodes[i].count > kLeaf) split(set, i);
}

Vec3 sum_within(const DirectionSet& set, const Vec3& axis, float smallest_cosine) {
    if (set.nodes.empty()) return scan(set, axis, smallest_cosine);
    std::array<double, 3> total = {};
    std::array<std::uint32_t, kMostPending> pending = {0};
    for (std::size_t size = 1; size > 0;) {
        const DirectionNode& node = set.nodes[pending[--size]];
        const Bounds bounds = dot_bounds(node, axis);
        if (bounds.greatest < smallest_cosine - kBoundMargin) continue;
        if (bounds.least >= smallest_cosine + kBoundMargin) {
            for (std::size_t k = 0; k < 3; ++k)
                total[k] += node.sum[k];
        } else if (node.left == 0) {
            add_leaf(set, node, axis, smallest_cosine, total);
        } else {
            pending[size++] = node.left;
            pending[size++] = node.left + 1;
        }
    }
    return {static_cast<float>(total[0]), static_cast<float>(total[1]),
            static_cast<float>(total[2])};
}

} // namespace mh
