// Blocks of triangles behind a node: four or eight are tested at once, those of several leaves
// together.
// SPDX-License-Identifier: MIT
#pragma once

#include "accel/walk_leaf_inl.h"

namespace mh {
namespace {

// Calls visit(block) for the blocks behind a node that hold triangles of one of the slots, until
// it returns true. The others are not even read.
template<std::uint32_t N, typename Visit>
inline bool any_block(const WalkNode<N>& node, unsigned slots, const Visit& visit) {
    const auto* unit = reinterpret_cast<const WalkUnit*>(&node + 1);
    unsigned k = 0;
    for (; k < node.wide_blocks; ++k) {
        const auto& block = *reinterpret_cast<const WalkBlock<8>*>(unit);
        if ((node.block_slots[k] & slots) != 0 && visit(block)) return true;
        unit += sizeof block / sizeof *unit;
    }
    if (node.narrow_blocks == 0 || (node.block_slots[k] & slots) == 0) return false;
    return visit(*reinterpret_cast<const WalkBlock<4>*>(unit));
}

// Takes the lowest bit out of a set and returns its number.
inline unsigned take_bit(unsigned& set) {
    const auto bit = static_cast<unsigned>(__builtin_ctz(set));
    set &= set - 1;
    return bit;
}

template<std::uint32_t M, typename F = typename FloatLanes<M>::Type>
inline TriangleHits<F> hit_block(const WalkBlock<M>& block, const WalkRay& ray, float limit) {
    return hit_triangles(block.triangles, fill<F>(ray.local.origin), fill<F>(ray.local.direction),
                         limit);
}

// All triangles of a bottom node.
template<std::uint32_t N>
inline const WalkBlock<N>& bottom_block(const WalkNode<N>& node) {
    return *reinterpret_cast<const WalkBlock<N>*>(&node + 1);
}

// Triangles of a block that were hit within the limit of that moment.
struct BlockHits {
    alignas(32) float t[8], b0[8], b1[8], b2[8], facing[8];
    const std::uint32_t *index, *shader;
    const std::uint8_t* part;
};

template<std::uint32_t M, typename F>
inline void store_hits(const WalkBlock<M>& block, const TriangleHits<F>& hits, BlockHits& stored) {
    store(stored.t, hits.t);
    store(stored.b0, hits.b0);
    store(stored.b1, hits.b1);
    store(stored.b2, hits.b2);
    store(stored.facing, hits.facing);
    stored.index = block.index;
    stored.shader = block.triangles.shader;
    stored.part = block.part;
}

// Whether a triangle hit near an edge is hit at all; if so its weights come onto it.
[[gnu::noinline, gnu::cold]] inline bool settle(BlockHits& hits, unsigned lane,
                                                const LocalRay& ray) {
    if (!runs_inside(ray, {hits.part[lane], hits.index[lane]})) return false;
    hits.b0[lane] = weight_on_face(hits.b0[lane]);
    hits.b1[lane] = weight_on_face(hits.b1[lane]);
    hits.b2[lane] = weight_on_face(hits.b2[lane]);
    return true;
}

// Takes the hit of one lane if it still lies within the limit.
[[gnu::always_inline]] inline bool keep_lane(BlockHits& hits, unsigned lane, const LocalRay& ray,
                                             int level, WalkQuery& query) {
    if (!(hits.t[lane] <= query.distance - kRayEpsilon)) return false;
    if (is_near_edge(hits.b0[lane], hits.b1[lane], hits.b2[lane]) && !settle(hits, lane, ray))
        return false;
    query.distance = hits.t[lane];
    query.hit_a = hits.b0[lane];
    query.hit_b = hits.b1[lane];
    query.hit_c = hits.b2[lane];
    query.front = hits.facing[lane] < 0.0f;
    query.hit = identity(hits.index[lane], static_cast<std::uint8_t>(PrimitiveKind::triangle));
    query.hit_part = hits.part[lane];
    query.hit_shader = hits.shader[lane];
    query.hit_level = level;
    return true;
}

// The only triangle of its leaf that is hit, found ahead of the leaf's turn.
struct Candidate {
    BlockHits hits;
    unsigned lane;
};

constexpr unsigned kCandidates = 32; // leaves beyond that are tested again in their turn

struct Candidates {
    unsigned count = 0;
    Candidate list[kCandidates];
    std::uint32_t children[kWide]; // of the node just entered; those with one hit are of the list
};

// Adds the slots with triangles that were hit to those visited, if the ray enters them. Leaves with
// one hit become candidates among the children, the others stay what they are in the node.
template<Walk walk, std::uint32_t N, std::uint32_t M, typename F>
inline void visit_hits(const WalkNode<N>& node, const WalkBlock<M>& block,
                       const TriangleHits<F>& hits, unsigned entered, const WalkQuery& query,
                       Candidates& candidates, unsigned& visited) {
    for (unsigned lanes = hits.lanes; lanes != 0;) {
        const unsigned lane = take_bit(lanes), slot = block.slot[lane];
        if ((entered >> slot & 1u) == 0
            || !may_hit_triangle<walk>(block.index[lane], block.visibility[lane], query))
            continue;
        if ((visited >> slot & 1u) != 0 || candidates.count == kCandidates) {
            candidates.children[slot] = node.child[slot];
        } else {
            Candidate& candidate = candidates.list[candidates.count];
            store_hits(block, hits, candidate.hits);
            candidate.lane = lane;
            candidates.children[slot] = candidates.count++ | kWalkCandidate;
        }
        visited |= 1u << slot;
    }
}

// Of the slots that the ray enters, those to visit: leaves in which nothing is hit are left out,
// as the limit only falls from here on.
template<Walk walk, std::uint32_t N>
inline unsigned test_blocks(const WalkNode<N>& node, unsigned entered, const WalkRay& ray,
                            const WalkQuery& query, Candidates& candidates) {
    unsigned visited = entered & ~static_cast<unsigned>(node.blocked);
    __builtin_memcpy(candidates.children, node.child, sizeof node.child);
    any_block(node, entered, [&]<std::uint32_t M>(const WalkBlock<M>& block) {
        const auto hits = hit_block(block, ray, query.distance);
        visit_hits<walk>(node, block, hits, entered, query, candidates, visited);
        return false;
    });
    return visited;
}

// A leaf in its turn.
template<Walk walk, std::uint32_t N>
[[gnu::noinline]] bool walk_blocks(const WalkNode<N>& node, unsigned slot, const WalkRay& ray,
                                   int level, WalkQuery& query) {
    bool any = false;
    any_block(node, 1u << slot, [&]<std::uint32_t M>(const WalkBlock<M>& block) {
        const auto hits = hit_block(block, ray, query.distance);
        if (hits.lanes == 0) return false;
        BlockHits stored;
        store_hits(block, hits, stored);
        for (unsigned lanes = hits.lanes; lanes != 0;) {
            const unsigned lane = take_bit(lanes);
            if (block.slot[lane] == slot
                && may_hit_triangle<walk>(block.index[lane], block.visibility[lane], query))
                any |= keep_lane(stored, lane, ray.local, level, query);
        }
        return false;
    });
    return any;
}

inline unsigned meet_planes(const WalkTetragons& four, const WalkRay& ray, float limit,
                            PlaneHits& hits) {
    return meet_planes(four, fill<Lanes4>(ray.local.origin), fill<Lanes4>(ray.local.direction),
                       limit, hits);
}

// Whether the ray hits one of the tetragons whose planes it meets, within the present limit.
template<Walk walk>
inline bool hit_lane(const WalkTetragons& four, unsigned lane, const PlaneHits& planes,
                     const LocalRay& ray, const WalkQuery& query, LocalHit& hit) {
    const float t = planes.t[lane], facing = planes.facing[lane];
    if (!(t <= query.distance - kRayEpsilon)
        || !may_hit_tetragon<walk>(four.index[lane], four.visibility[lane], query))
        return false;
    hit = {t, 0.0f, 0.0f, 0.0f, facing < 0.0f};
    return runs_inside(four.corners[lane], ray, facing, hit.a, hit.b);
}

template<Walk walk>
inline bool occluded_by_tetragons(const WalkTetragons& four, const WalkRay& ray,
                                  const WalkQuery& query) {
    PlaneHits planes;
    unsigned lanes = meet_planes(four, ray, query.distance, planes);
    LocalHit hit;
    while (lanes != 0)
        if (hit_lane<walk>(four, take_bit(lanes), planes, ray.local, query, hit)) return true;
    return false;
}

// Whether a triangle stands in a slot that the ray enters, and may be hit.
template<Walk walk, std::uint32_t M>
inline bool occludes_in(const WalkBlock<M>& block, unsigned lane, unsigned entered,
                        const WalkQuery& query) {
    return (entered >> block.slot[lane] & 1u) != 0
           && may_hit_triangle<walk>(block.index[lane], block.visibility[lane], query);
}

// Whether one of the triangles that were hit near an edge occludes.
template<Walk walk, std::uint32_t M>
[[gnu::noinline, gnu::cold]] bool any_occludes_at_edge(const WalkBlock<M>& block, unsigned lanes,
                                                       unsigned entered, const WalkRay& ray,
                                                       const WalkQuery& query) {
    while (lanes != 0) {
        const unsigned lane = take_bit(lanes);
        if (occludes_in<walk>(block, lane, entered, query)
            && runs_inside(ray.local, {block.part[lane], block.index[lane]}))
            return true;
    }
    return false;
}

// Whether a triangle that was hit occludes: one of the slots that the ray enters.
template<Walk walk, std::uint32_t M, typename F>
inline bool any_occludes(const WalkBlock<M>& block, const TriangleHits<F>& hits, unsigned entered,
                         const WalkRay& ray, const WalkQuery& query) {
    if (hits.lanes == 0) return false;
    const unsigned near_edge = hits.lanes & less(hits.least, fill<F>(kEdgeWeight));
    for (unsigned lanes = hits.lanes ^ near_edge; lanes != 0;)
        if (occludes_in<walk>(block, take_bit(lanes), entered, query)) return true;
    return near_edge != 0 && any_occludes_at_edge<walk>(block, near_edge, entered, ray, query);
}

// Whether a triangle of one of the slots occludes.
template<Walk walk, std::uint32_t N>
inline bool occluded_by_blocks(const WalkNode<N>& node, unsigned slots, const WalkRay& ray,
                               WalkQuery& query) {
    return any_block(node, slots, [&]<std::uint32_t M>(const WalkBlock<M>& block) {
        query.primitives += block.used;
        return any_occludes<walk>(block, hit_block(block, ray, query.distance), slots, ray, query);
    });
}

} // namespace
} // namespace mh
