// The shadow walks: whether anything lies within the limit. Every hit occludes, so that the order
// of visits doesn't matter but to the log.
// SPDX-License-Identifier: MIT
#pragma once

#include "accel/walk_block_inl.h"
#include "accel/walk_key_inl.h"

namespace mh {
namespace {

constexpr std::uint32_t kWalkEnd = 0xFFFFFFFFu; // under the lowest entry of the stack

template<Walk walk>
bool walk_occluder(const WalkUnit* units, const WalkRay& ray, WalkQuery& query, int level);

// 1 / d; minus infinity for zeros of both signs.
inline float inverse_to_minus_infinity(float d) {
    return -(1.0f / (0.0f - d));
}

template<Walk walk>
[[gnu::noinline]] bool occluded_by_instance(const WalkPrimitive& p, const LocalRay& ray,
                                            WalkQuery& query, int level) {
    if (level == kWalkLevels) return false;
    const WalkUnit* const units = target_stream(p);
    const LocalRay inside = {origin_in_instance(p, ray), direction_in_instance(p, ray), units};
    const Triple<float> inverse = {inverse_to_minus_infinity(inside.direction.x),
                                   inverse_to_minus_infinity(inside.direction.y),
                                   inverse_to_minus_infinity(inside.direction.z)};
    const WalkRay inner = walk_ray(inside, inverse);
    return walk_occluder<walk>(units, inner, query, level + 1);
}

template<Walk walk>
inline bool occluded_by_primitive(const WalkPrimitive& p, const WalkRay& ray, WalkQuery& query,
                                  int level) {
    if (p.kind == kWalkTetragons) {
        query.primitives += tetragons_at(p).used;
        return occluded_by_tetragons<walk>(tetragons_at(p), ray, query);
    }
    ++query.primitives;
    LocalHit hit;
    return is_instance(p) ? occluded_by_instance<walk>(p, ray.local, query, level)
                          : test_primitive<walk>(p, ray.local, query, hit);
}

template<Walk walk>
inline bool occluded_by_leaf(const WalkPrimitive* p, const WalkRay& ray, WalkQuery& query,
                             int level) {
    for (;; p = next_primitive(p)) {
        if (occluded_by_primitive<walk>(*p, ray, query, level)) {
            query.log[level].object = is_instance(*p) ? p->index : kNoObject;
            return true;
        }
        if (p->last) return false;
    }
}

// Goes on with one of the children that the ray enters and pushes the others. Leaves come first,
// then what has the largest box: the lowest slot.
template<std::uint32_t N>
inline std::uint32_t next_child(const WalkNode<N>& node, unsigned entered, std::uint32_t*& top) {
    const unsigned leaves = entered & node.leaves;
    const int slot = __builtin_ctz(leaves != 0 ? leaves : entered);
    const unsigned others = entered & ~(1u << slot);
    store_falling(top, node.child, others);
    top += __builtin_popcount(others);
    return node.child[slot];
}

// Whether a triangle of the node's blocks occludes; else finds what to visit next.
template<std::uint32_t N>
inline bool occluded_in_node(const WalkNode<N>& node, const WalkRay& ray, WalkQuery& query,
                             std::uint32_t& next, std::uint32_t*& top) {
    ++query.nodes;
    unsigned entered = enter_children(node, ray, query.distance, nullptr, nullptr);
    const unsigned blocked = entered & node.blocked;
    if (blocked != 0) {
        query.leaves += static_cast<unsigned>(__builtin_popcount(blocked));
        if (occluded_by_blocks<Walk::occlude>(node, blocked, ray, query)) return true;
        entered ^= blocked;
    }
    next = entered != 0 ? next_child(node, entered, top) : *--top;
    return false;
}

// Whether a triangle of a bottom node occludes. Boxes are looked at when a triangle is hit.
template<std::uint32_t N>
inline bool occluded_in_bottom(const WalkNode<N>& node, const WalkRay& ray, WalkQuery& query) {
    const WalkBlock<N>& block = bottom_block(node);
    ++query.nodes;
    ++query.leaves; // all of them as one
    query.primitives += block.used;
    const auto hits = hit_block(block, ray, query.distance);
    if (hits.lanes == 0) return false;
    const unsigned entered = enter_children(node, ray, query.distance, nullptr, nullptr);
    return any_occludes<Walk::occlude>(block, hits, entered, ray, query);
}

template<>
bool walk_occluder<Walk::occlude>(const WalkUnit* units, const WalkRay& ray, WalkQuery& query,
                                  int level) {
    std::uint32_t stack[kWalkStack + kWide]; // store_falling writes up to kWide places too many
    std::uint32_t* top = stack;
    *top++ = kWalkEnd;
    std::uint32_t next = 0;
    while (next != kWalkEnd) {
        if ((next & kWalkLeaf) == 0) {
            if (with_node(units, next, [&](const auto& node) {
                    if ((next & kWalkBottom) == 0)
                        return occluded_in_node(node, ray, query, next, top);
                    next = *--top;
                    return occluded_in_bottom(node, ray, query);
                }))
                return true;
            continue;
        }
        ++query.leaves;
        if (occluded_by_leaf<Walk::occlude>(primitives_at(units, next), ray, query, level))
            return true;
        next = *--top;
    }
    return false;
}

// The lowest slot last.
template<std::uint32_t N>
inline void push_entered(const WalkNode<N>& node, const WalkRay& ray, const WalkQuery& query,
                         StackKey*& top) {
    unsigned entered = enter_children(node, ray, query.distance, nullptr, nullptr);
    while (entered != 0) {
        const auto slot = 31u - static_cast<unsigned>(__builtin_clz(entered));
        entered ^= 1u << slot;
        *top++ = stack_key(node.wide_node, slot, node.child[slot]);
    }
}

inline bool occluded_by_logged_leaf(const WalkUnit* units, StackKey leaf, const WalkRay& ray,
                                    WalkQuery& query, int level) {
    ++query.leaves;
    const auto reference = reference_of(leaf);
    if ((reference & kWalkBlocks) == 0)
        return occluded_by_leaf<Walk::occlude_log>(primitives_at(units, reference), ray, query,
                                                   level);
    query.log[level].object = kNoObject;
    return with_node(units, reference, [&](const auto& node) {
        return occluded_by_blocks<Walk::occlude_log>(node, 1u << slot_of(leaf), ray, query);
    });
}

// Logs the leaf that occludes. Here a key holds the parent's index in place of the distance.
template<>
bool walk_occluder<Walk::occlude_log>(const WalkUnit* units, const WalkRay& ray, WalkQuery& query,
                                      int level) {
    StackKey stack[kWalkStack];
    StackKey* top = stack;
    *top++ = 0;
    while (top != stack) {
        const StackKey key = *--top;
        if ((reference_of(key) & kWalkLeaf) == 0) {
            ++query.nodes;
            with_node(units, reference_of(key),
                      [&](const auto& node) { push_entered(node, ray, query, top); });
        } else if (occluded_by_logged_leaf(units, key, ray, query, level)) {
            query.log[level].wide_node = static_cast<std::uint32_t>(key >> kKeyShift);
            query.log[level].slot = slot_of(key);
            return true;
        }
    }
    return false;
}

} // namespace
} // namespace mh
