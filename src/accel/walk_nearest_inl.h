// The walks for the nearest hit over a stream of nodes and primitives [Dammertz08], [Wald08]. The
// order of visits is part of the result: of hits closer together than the margin of the primitive
// tests, the first one found stays.
// SPDX-License-Identifier: MIT
#pragma once

#include "accel/walk_block_inl.h"
#include "accel/walk_key_inl.h"

namespace mh {
namespace {

inline void order(StackKey& low, StackKey& high) {
    const StackKey a = low, b = high;
    low = a < b ? a : b;
    high = a < b ? b : a;
}

// Pushes all entered children but the nearest, farthest first, and returns the nearest.
template<Walk walk>
inline StackKey nearest_child(const std::uint32_t* children, unsigned entered, const float* entries,
                              const float* exits, StackKey*& top) {
    const auto next_key = [&] {
        const auto slot = static_cast<unsigned>(__builtin_ctz(entered));
        entered &= entered - 1;
        return stack_key(float_bits(entries[slot]), slot, children[slot]);
    };
    if ((entered & (entered - 1)) == 0) {
        const auto slot = static_cast<unsigned>(__builtin_ctz(entered));
        return stack_key(0, slot, children[slot]);
    }
    StackKey a = next_key(), b = next_key();
    if (entered == 0) {
        if constexpr (walk == Walk::probe) { // of two, the one that ends first
            if (exits[slot_of(b)] < exits[slot_of(a)]) {
                *top++ = a;
                return b;
            }
            *top++ = b;
            return a;
        }
        order(a, b);
        *top++ = b;
        return a;
    }
    StackKey c = next_key();
    order(a, b);
    order(b, c);
    order(a, b);
    StackKey* const first = top;
    *top++ = c;
    *top++ = b;
    while (entered != 0) { // NOLINT(bugprone-infinite-loop): next_key takes a bit off it
        StackKey key = next_key();
        order(a, key);
        // Past all places, without a branch that stops at the right one: it would be mispredicted.
        for (StackKey* place = first; place != top; ++place)
            order(key, *place);
        *top++ = key;
    }
    return a;
}

// Pushes the children to visit but the nearest, and finds that one; false for none.
template<Walk walk, std::uint32_t N>
inline bool enter_node(const WalkNode<N>& node, const WalkRay& ray, const WalkQuery& query,
                       Candidates& candidates, StackKey& nearest, StackKey*& top) {
    alignas(32) float entries[N], exits[N];
    const unsigned entered =
        enter_children(node, ray, query.distance, entries, walk == Walk::probe ? exits : nullptr);
    if ((entered & node.blocked) == 0) {
        if (entered == 0) return false;
        nearest = nearest_child<walk>(node.child, entered, entries, exits, top);
        return true;
    }
    const unsigned visited = test_blocks<walk>(node, entered, ray, query, candidates);
    if (visited == 0) return false;
    nearest = nearest_child<walk>(candidates.children, visited, entries, exits, top);
    return true;
}

// The same for a bottom node. Its triangles are tested first: most often none is hit, and then the
// boxes are not even read.
template<Walk walk, std::uint32_t N>
inline bool enter_bottom(const WalkNode<N>& node, const WalkRay& ray, const WalkQuery& query,
                         Candidates& candidates, StackKey& nearest, StackKey*& top) {
    const WalkBlock<N>& block = bottom_block(node);
    const auto hits = hit_block(block, ray, query.distance);
    if (hits.lanes == 0) return false;
    alignas(32) float entries[N], exits[N];
    const unsigned entered =
        enter_children(node, ray, query.distance, entries, walk == Walk::probe ? exits : nullptr);
    unsigned visited = 0;
    visit_hits<walk>(node, block, hits, entered, query, candidates, visited);
    if (visited == 0) return false;
    nearest = nearest_child<walk>(candidates.children, visited, entries, exits, top);
    return true;
}

// 1 / d; infinity for zeros of both signs.
inline float inverse_to_infinity(float d) {
    return 1.0f / (d + 0.0f);
}

template<Walk walk>
bool walk_nearest(const WalkUnit* units, const WalkRay& ray, WalkQuery& query, int level);

// The primitives see the unit direction. The box test takes the inverse of the direction as it came
// from the parent, so that distances in the boxes are the parent's; a query for true distances
// takes them to the object's units and back.
template<Walk walk>
[[gnu::noinline]] bool walk_instance(const WalkPrimitive& p, const LocalRay& ray, int level,
                                     WalkQuery& query) {
    if (level == kWalkLevels) return false;
    const Triple<float> direction = direction_in_instance(p, ray);
    const WalkUnit* const units = target_stream(p);
    const LocalRay inside = {origin_in_instance(p, ray),
                             walk == Walk::closest ? unit_direction(direction) : direction, units};
    const bool rescales = walk == Walk::closest && query.true_distances;
    const Triple<float>& timed = rescales ? inside.direction : direction;
    const Triple<float> inverse = {inverse_to_infinity(timed.x), inverse_to_infinity(timed.y),
                                   inverse_to_infinity(timed.z)};
    const float limit = query.distance;
    const float scale = rescales ? limited_root(dot(direction, direction)) : 1.0f;
    query.distance *= scale;
    const WalkRay inner = walk_ray(inside, inverse);
    const bool hit = enters_root(units, inner, query.distance)
                     && walk_nearest<walk>(units, inner, query, level + 1);
    query.distance = hit ? query.distance / scale : limit;
    if (hit) query.hit_path[level] = &p;
    return hit;
}

inline void keep_hit(const LocalHit& hit, std::uint64_t primitive, int level, WalkQuery& query) {
    query.distance = hit.distance;
    query.hit_a = hit.a;
    query.hit_b = hit.b;
    query.hit_c = hit.c;
    query.front = hit.front;
    query.hit = primitive;
    query.hit_level = level;
}

template<Walk walk>
inline bool walk_primitive(const WalkPrimitive& p, const LocalRay& ray, int level,
                           WalkQuery& query) {
    LocalHit hit;
    if (!test_primitive<walk>(p, ray, query, hit)) return false;
    keep_hit(hit, identity(p), level, query);
    query.hit_part = p.part;
    query.hit_shader = face_shader(p);
    return true;
}

template<Walk walk>
inline bool walk_tetragons(const WalkTetragons& four, const WalkRay& ray, int level,
                           WalkQuery& query) {
    PlaneHits planes;
    unsigned lanes = meet_planes(four, ray, query.distance, planes);
    bool any = false;
    while (lanes != 0) {
        const unsigned lane = take_bit(lanes);
        LocalHit hit;
        if (!hit_lane<walk>(four, lane, planes, ray.local, query, hit)) continue;
        const auto kind = static_cast<std::uint8_t>(PrimitiveKind::tetragon);
        keep_hit(hit, identity(four.index[lane], kind), level, query);
        query.hit_part = four.part[lane];
        query.hit_shader = four.shader[lane];
        any = true;
    }
    return any;
}

template<Walk walk>
inline bool walk_leaf(const WalkPrimitive* p, const WalkRay& ray, int level, WalkQuery& query) {
    bool any = false;
    for (;; p = next_primitive(p)) {
        if (p->kind == kWalkTetragons)
            any |= walk_tetragons<walk>(tetragons_at(*p), ray, level, query);
        else if (is_instance(*p))
            any |= walk_instance<walk>(*p, ray.local, level, query);
        else
            any |= walk_primitive<walk>(*p, ray.local, level, query);
        if (p->last) return any;
    }
}

// A leaf that is no candidate.
template<Walk walk>
inline bool walk_any_leaf(const WalkUnit* units, StackKey leaf, const WalkRay& ray, int level,
                          WalkQuery& query) {
    const auto reference = reference_of(leaf);
    if ((reference & kWalkBlocks) == 0)
        return walk_leaf<walk>(primitives_at(units, reference), ray, level, query);
    return with_node(units, reference, [&](const auto& node) {
        return walk_blocks<walk>(node, slot_of(leaf), ray, level, query);
    });
}

inline bool is_candidate(StackKey key) {
    return (key & kWalkKind) == kWalkCandidate;
}

// Nearest hit in one object and what it instances.
template<Walk walk>
bool walk_nearest(const WalkUnit* units, const WalkRay& ray, WalkQuery& query, int level) {
    StackKey stack[kWalkStack];
    StackKey* top = stack;
    Candidates candidates;
    StackKey key = 0;
    bool any = false;
    for (;;) {
        bool entered = true;
        while (entered && (key & kWalkLeaf) == 0)
            entered = with_node(units, reference_of(key), [&](const auto& node) {
                if ((key & kWalkBottom) != 0)
                    return enter_bottom<walk>(node, ray, query, candidates, key, top);
                return enter_node<walk>(node, ray, query, candidates, key, top);
            });
        if (entered && is_candidate(key)) {
            Candidate& candidate = candidates.list[key & kWalkUnitMask];
            any |= keep_lane(candidate.hits, candidate.lane, ray.local, level, query);
        } else if (entered) {
            any |= walk_any_leaf<walk>(units, key, ray, level, query);
        }
        const StackKey end = static_cast<StackKey>(float_bits(query.distance)) << kKeyShift;
        do {
            if (top == stack) return any;
            key = *--top;
        } while (key >= end);
    }
}

} // namespace
} // namespace mh
