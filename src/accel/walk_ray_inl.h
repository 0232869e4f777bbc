// The ray of a walk through one object, and the test of the boxes of a node.
// SPDX-License-Identifier: MIT
#pragma once

#include "accel/primitives_inl.h"

namespace mh {
namespace {

constexpr float kBoxStart = 1e-8f; // lower bound of the entry distance into a box

// Offsets of the near and the far row of planes per axis; in a node of N children in N bytes, so
// that either kind of node finds its rows by an address alone.
struct PlaneRows {
    BitLanes4 near, far;
};

// Set by the signs of the inverse direction, without a branch, which would be mispredicted on every
// other ray.
inline PlaneRows plane_rows(const Triple<float>& inverse) {
    constexpr std::uint32_t kRow = sizeof(float), kSide = 3 * kRow;
    constexpr BitLanes4 kRows = {0, kRow, 2 * kRow, 0};
    const BitLanes4 upper = signs_of(inverse.x, inverse.y, inverse.z) & kSide;
    return {kRows + upper, kRows + kSide - upper};
}

// A ray in the space of one object, and what nodes want of it. Lanes are filled where they are
// used: that takes no longer than to load them.
struct WalkRay {
    LocalRay local;
    Triple<float> minus_inverse; // -1 / direction
    PlaneRows rows;
};

// Number by number: a copy of the local ray as a whole waits for the stores of its parts.
inline WalkRay walk_ray(const LocalRay& local, const Triple<float>& inverse) {
    const Triple<float>&o = local.origin, &d = local.direction;
    return {{{o.x, o.y, o.z}, {d.x, d.y, d.z}, local.stream},
            {-inverse.x, -inverse.y, -inverse.z},
            plane_rows(inverse)};
}

// As many floats as a node has children, or a block triangles.
template<std::uint32_t N>
struct FloatLanes;

template<>
struct FloatLanes<8> {
    using Type = Float8;
};

template<>
struct FloatLanes<4> {
    using Type = Lanes4;
};

// The children that the ray enters within the limit, a bit each, with their entry and exit
// distances. A NaN, from 0 times infinity, leaves the other axes to decide.
template<std::uint32_t N>
inline unsigned enter_children(const WalkNode<N>& node, const WalkRay& ray, float limit,
                               float* entries, float* exits) {
    using F = typename FloatLanes<N>::Type;
    const char* planes = reinterpret_cast<const char*>(node.planes);
    const Triple<F> origin = fill<F>(ray.local.origin);
    const Triple<F> minus_inverse = fill<F>(ray.minus_inverse);
    const auto distance = [&](std::size_t row, const F& start, const F& minus) {
        const F plane = load<F>(reinterpret_cast<const float*>(planes + row * N));
        return (start - plane) * minus; // in this order the plane is an operand in memory
    };
    F entry = fill<F>(kBoxStart);
    entry = max(distance(ray.rows.near[0], origin.x, minus_inverse.x), entry);
    entry = max(distance(ray.rows.near[1], origin.y, minus_inverse.y), entry);
    entry = max(distance(ray.rows.near[2], origin.z, minus_inverse.z), entry);
    F exit = fill<F>(limit);
    exit = min(distance(ray.rows.far[0], origin.x, minus_inverse.x), exit);
    exit = min(distance(ray.rows.far[1], origin.y, minus_inverse.y), exit);
    exit = min(distance(ray.rows.far[2], origin.z, minus_inverse.z), exit);
    if (entries != nullptr) store(entries, entry);
    if (exits != nullptr) store(exits, exit);
    return less_equal(entry, exit);
}

// Whether the ray enters a child of the root: instances are mostly passed by.
inline bool enters_root(const WalkUnit* units, const WalkRay& ray, float limit) {
    return enter_children(*reinterpret_cast<const WalkNode<8>*>(units), ray, limit, nullptr,
                          nullptr)
           != 0;
}

// Calls visit(node) with the node that a reference leads to, of its own type.
template<typename Visit>
inline auto with_node(const WalkUnit* units, std::uint32_t reference, const Visit& visit) {
    const WalkUnit* unit = units + (reference & kWalkUnitMask);
    if ((reference & kWalkNarrow) != 0) return visit(*reinterpret_cast<const WalkNode<4>*>(unit));
    return visit(*reinterpret_cast<const WalkNode<8>*>(unit));
}

} // namespace
} // namespace mh
