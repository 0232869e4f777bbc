// The walks over a stream of nodes and primitives, compiled once per kernel [Dammertz08], [Wald08].
// The order of visits is part of the result: of hits closer together than the margin of the
// primitive tests, the first one found stays.
// SPDX-License-Identifier: MIT
#pragma once

#include "accel/primitives_inl.h"
#include "geometry/types.h"

namespace mh {
namespace {

enum class Walk { closest, probe, occlude, occlude_log };

constexpr bool is_shadow(Walk walk) {
    return walk == Walk::occlude || walk == Walk::occlude_log;
}

constexpr float kBoxStart = 1e-8f; // lower bound of the entry distance into a box
constexpr float kInfinity = __builtin_inff();

// An entry of the stack, ordered by entry distance, then by slot: the bits of the distance without
// the sign, which is positive, three bits of slot, and the reference to the child. The logging walk
// keeps the parent's index in place of the distance.
using StackKey = std::uint64_t;

constexpr int kKeyShift = 33;
constexpr int kSlotShift = 30;

inline StackKey stack_key(std::uint32_t high, unsigned slot, std::uint32_t child) {
    return static_cast<StackKey>(high) << kKeyShift | static_cast<StackKey>(slot) << kSlotShift
           | child;
}

inline unsigned slot_of(StackKey key) {
    return static_cast<unsigned>(key >> kSlotShift) & 7u;
}

// Rows of planes in a node of N: byte offsets of the near and the far one per axis.
struct PlaneRows {
    std::size_t near[3], far[3];
};

// The ray as the box test wants it: broadcast, and with the rows of the planes for its signs.
struct BoxRay {
    Triple<Float8> origin, inverse;
    PlaneRows wide, narrow;
};

inline void set_rows(PlaneRows& rows, std::size_t axis, bool forward, std::size_t row_bytes) {
    const std::size_t lower = axis * row_bytes, upper = (axis + 3) * row_bytes;
    rows.near[axis] = forward ? lower : upper;
    rows.far[axis] = forward ? upper : lower;
}

inline BoxRay box_ray(const LocalRay& ray, const Triple<float>& inverse, bool zero_is_positive) {
    BoxRay box = {fill<Float8>(ray.origin), fill<Float8>(inverse), {}, {}};
    const float direction[3] = {ray.direction.x, ray.direction.y, ray.direction.z};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const float d = direction[axis];
        const bool forward = zero_is_positive ? d >= 0.0f : d > 0.0f;
        set_rows(box.wide, axis, forward, sizeof(Float8));
        set_rows(box.narrow, axis, forward, sizeof(Float4));
    }
    return box;
}

inline float inverse_component(float d, float of_zero) {
    return d == 0.0f ? of_zero : 1.0f / d;
}

inline Triple<float> inverse_direction(const Triple<float>& d, float of_zero) {
    return {inverse_component(d.x, of_zero), inverse_component(d.y, of_zero),
            inverse_component(d.z, of_zero)};
}

inline Float8 lanes_of(const Float8& a, const Float8*) {
    return a;
}

inline Float4 lanes_of(const Float8& a, const Float4*) {
    return low_half(a);
}

// The children that the ray enters within the limit, a bit each, with their entry and exit
// distances. A NaN, from 0 times infinity, leaves the other axes to decide.
template<typename F, int N>
inline unsigned enter_children(const WalkNode<N>& node, const BoxRay& ray, float limit,
                               float* entries, float* exits) {
    const F* const type = nullptr;
    const PlaneRows& rows = N == kWide ? ray.wide : ray.narrow;
    const char* planes = reinterpret_cast<const char*>(node.planes);
    const auto distance = [&](std::size_t row, const Float8& origin, const Float8& inverse) {
        const F plane = load<F>(reinterpret_cast<const float*>(planes + row));
        return (plane - lanes_of(origin, type)) * lanes_of(inverse, type);
    };
    F entry = fill<F>(kBoxStart);
    entry = max(distance(rows.near[0], ray.origin.x, ray.inverse.x), entry);
    entry = max(distance(rows.near[1], ray.origin.y, ray.inverse.y), entry);
    entry = max(distance(rows.near[2], ray.origin.z, ray.inverse.z), entry);
    F exit = fill<F>(limit);
    exit = min(distance(rows.far[0], ray.origin.x, ray.inverse.x), exit);
    exit = min(distance(rows.far[1], ray.origin.y, ray.inverse.y), exit);
    exit = min(distance(rows.far[2], ray.origin.z, ray.inverse.z), exit);
    store(entries, entry);
    if (exits != nullptr) store(exits, exit);
    return less_equal(entry, exit);
}

inline void order(StackKey& low, StackKey& high) {
    const StackKey a = low, b = high;
    low = a < b ? a : b;
    high = a < b ? b : a;
}

// Moves the key at `last` down to its place in the falling order that starts at `first`.
inline void insert_key(StackKey* first, StackKey* last) {
    const StackKey key = *last;
    for (; last != first && last[-1] < key; --last)
        *last = last[-1];
    *last = key;
}

// Pushes all entered children but the nearest, farthest first, and returns the nearest.
template<Walk walk, int N>
inline std::uint32_t nearest_child(const WalkNode<N>& node, unsigned entered, const float* entries,
                                   const float* exits, StackKey*& top) {
    const auto next_key = [&] {
        const auto slot = static_cast<unsigned>(__builtin_ctz(entered));
        entered &= entered - 1;
        return stack_key(float_bits(entries[slot]), slot, node.child[slot]);
    };
    if ((entered & (entered - 1)) == 0) return node.child[__builtin_ctz(entered)];
    StackKey a = next_key(), b = next_key();
    if (entered == 0) {
        if constexpr (walk == Walk::probe) { // of two, the one that ends first
            if (exits[slot_of(b)] < exits[slot_of(a)]) {
                *top++ = a;
                return static_cast<std::uint32_t>(b);
            }
            *top++ = b;
            return static_cast<std::uint32_t>(a);
        }
        order(a, b);
        *top++ = b;
        return static_cast<std::uint32_t>(a);
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
        *top = key;
        insert_key(first, top++);
    }
    return static_cast<std::uint32_t>(a);
}

inline const WalkPrimitive* primitives_at(const WalkUnit* units, std::uint32_t reference) {
    return reinterpret_cast<const WalkPrimitive*>(units + (reference & kWalkUnitMask));
}

inline std::uint64_t identity(const WalkPrimitive& p) {
    return p.index | static_cast<std::uint64_t>(p.kind) << 32;
}

inline bool is_visible(const WalkPrimitive& p, const WalkQuery& query) {
    return (query.visible >> p.visibility & 1u) != 0;
}

inline const WalkUnit* target_stream(const WalkPrimitive& p) {
    return p.kind == kWalkProjection ? p.projection.target : p.instance.target;
}

inline float row_product(const float* row, const Triple<float>& p) {
    return row[0] * p.x + row[1] * p.y + row[2] * p.z;
}

inline Triple<float> projected_point(const Mat4& inverse, const Triple<float>& p) {
    const auto& m = inverse.m;
    const float w = row_product(m[3], p) + m[3][3];
    return {(row_product(m[0], p) + m[0][3]) / w, (row_product(m[1], p) + m[1][3]) / w,
            (row_product(m[2], p) + m[2][3]) / w};
}

inline Triple<float> origin_in_instance(const WalkPrimitive& p, const LocalRay& ray) {
    if (p.kind == kWalkProjection)
        return projected_point(p.projection.instance->inverse, ray.origin);
    const auto& m = p.instance.inverse;
    return {row_product(m[0], ray.origin) + m[0][3], row_product(m[1], ray.origin) + m[1][3],
            row_product(m[2], ray.origin) + m[2][3]};
}

// Not unit: keeps the parent's parameter.
inline Triple<float> direction_in_instance(const WalkPrimitive& p, const LocalRay& ray) {
    const auto* m =
        p.kind == kWalkProjection ? p.projection.instance->inverse.m : p.instance.inverse;
    return {row_product(m[0], ray.direction), row_product(m[1], ray.direction),
            row_product(m[2], ray.direction)};
}

inline Triple<float> unit_direction(const Triple<float>& d) {
    const float square = dot(d, d);
    return square == 0.0f ? d : (1.0f / limited_root(square)) * d;
}

// Whether the ray left this particle on its outer side: one refracted into it meets the far wall.
inline bool left_particle(const WalkPrimitive& p, const SphereRoots& roots,
                          const WalkQuery& query) {
    return identity(p) == query.source && !(roots.b > 0.0f);
}

inline bool is_excluded(const WalkPrimitive& p, Walk walk, const WalkQuery& query) {
    return identity(p) == query.source || (is_shadow(walk) && identity(p) == query.target);
}

// The test of a primitive that is neither a triangle nor an instance. Kept apart, so that the loops
// over triangles stay small.
template<Walk walk>
[[gnu::noinline]] bool test_other(const WalkPrimitive& p, const LocalRay& ray,
                                  const WalkQuery& query, LocalHit& hit) {
    const float limit = query.distance;
    switch (p.kind) {
    case static_cast<std::uint8_t>(PrimitiveKind::tetragon):
        return !is_excluded(p, walk, query) && hit_tetragon(p.tetragon, ray, limit, hit)
               && is_visible(p, query);
    case static_cast<std::uint8_t>(PrimitiveKind::cylinder):
        return walk != Walk::probe && !is_excluded(p, walk, query) && is_visible(p, query)
               && hit_cylinder(p.cylinder, ray, limit, hit);
    case static_cast<std::uint8_t>(PrimitiveKind::particle): {
        if (walk == Walk::probe || !is_visible(p, query)) return false;
        const SphereRoots roots = sphere_roots(p.particle, ray);
        if (left_particle(p, roots, query)) return false;
        if constexpr (!is_shadow(walk)) return hit_particle(p.particle, roots, ray, limit, hit);
        return identity(p) != query.target && occluding_particle(roots, limit);
    }
    default: return false;
    }
}

// With the rules of exclusion and visibility. The probe sees the triangle that it left.
template<Walk walk>
inline bool test_triangle(const WalkPrimitive& p, const LocalRay& ray, const WalkQuery& query,
                          LocalHit& hit) {
    return hit_triangle(p.triangle, ray, query.distance, hit)
           && (walk == Walk::probe || !is_excluded(p, walk, query)) && is_visible(p, query);
}

inline bool is_triangle(const WalkPrimitive& p) {
    return p.kind == static_cast<std::uint8_t>(PrimitiveKind::triangle);
}

inline bool is_instance(const WalkPrimitive& p) {
    return p.kind >= static_cast<std::uint8_t>(PrimitiveKind::instance);
}

template<Walk walk>
bool walk_nearest(const WalkUnit* units, const LocalRay& ray, const Triple<float>& inverse,
                  WalkQuery& query, int level);

template<Walk walk>
[[gnu::noinline]] bool walk_instance(const WalkPrimitive& p, const LocalRay& ray, WalkQuery& query,
                                     int level) {
    if (level == kWalkLevels) return false;
    const Triple<float> origin = origin_in_instance(p, ray);
    const Triple<float> direction = direction_in_instance(p, ray);
    const Triple<float> inverse = inverse_direction(direction, kInfinity);
    const LocalRay inside =
        local_ray(origin, walk == Walk::closest ? unit_direction(direction) : direction);
    if (!walk_nearest<walk>(target_stream(p), inside, inverse, query, level + 1)) return false;
    query.hit_path[level] = &p;
    return true;
}

inline void keep_hit(const WalkPrimitive& p, const LocalHit& hit, int level, WalkQuery& query) {
    query.distance = hit.distance;
    query.hit_a = hit.a;
    query.hit_b = hit.b;
    query.hit_c = hit.c;
    query.front = hit.front;
    query.hit = &p;
    query.hit_level = level;
}

template<Walk walk>
inline bool walk_leaf(const WalkPrimitive* p, const LocalRay& ray, WalkQuery& query, int level) {
    bool any = false;
    for (;; ++p) {
        LocalHit hit;
        if (is_triangle(*p) ? test_triangle<walk>(*p, ray, query, hit)
                            : !is_instance(*p) && test_other<walk>(*p, ray, query, hit)) {
            keep_hit(*p, hit, level, query);
            any = true;
        } else if (is_instance(*p)) {
            any |= walk_instance<walk>(*p, ray, query, level);
        }
        if (p->last) return any;
    }
}

// Nearest hit in one object and what it instances. The box test takes the inverse of the direction
// as it came from the parent; the primitives see the unit direction.
template<Walk walk>
bool walk_nearest(const WalkUnit* units, const LocalRay& ray, const Triple<float>& inverse,
                  WalkQuery& query, int level) {
    const BoxRay box = box_ray(ray, inverse, true);
    StackKey stack[kWalkStack];
    StackKey* top = stack;
    std::uint32_t reference = 0;
    bool any = false;
    for (;;) {
        bool entered_any = true;
        while ((reference & kWalkLeaf) == 0) {
            alignas(32) float entries[kWide], exits[kWide];
            const WalkUnit* unit = units + (reference & kWalkUnitMask);
            float* const kept_exits = walk == Walk::probe ? exits : nullptr;
            if ((reference & kWalkNarrow) != 0) {
                const auto& node = *reinterpret_cast<const WalkNode<4>*>(unit);
                const unsigned entered =
                    enter_children<Float4>(node, box, query.distance, entries, kept_exits);
                entered_any = entered != 0;
                if (!entered_any) break;
                reference = nearest_child<walk>(node, entered, entries, exits, top);
            } else {
                const auto& node = *reinterpret_cast<const WalkNode<8>*>(unit);
                const unsigned entered =
                    enter_children<Float8>(node, box, query.distance, entries, kept_exits);
                entered_any = entered != 0;
                if (!entered_any) break;
                reference = nearest_child<walk>(node, entered, entries, exits, top);
            }
        }
        if (entered_any) any |= walk_leaf<walk>(primitives_at(units, reference), ray, query, level);
        StackKey key = 0;
        const StackKey end = static_cast<StackKey>(float_bits(query.distance)) << kKeyShift;
        do {
            if (top == stack) return any;
            key = *--top;
        } while (key >= end);
        reference = static_cast<std::uint32_t>(key);
    }
}

template<Walk walk>
bool walk_occluder(const WalkUnit* units, const LocalRay& ray, WalkQuery& query, int level);

// The lowest slot last: it holds the largest box.
template<Walk walk, int N>
inline void push_slots(const WalkNode<N>& node, unsigned slots, StackKey*& top) {
    while (slots != 0) {
        const auto slot = 31u - static_cast<unsigned>(__builtin_clz(slots));
        slots ^= 1u << slot;
        *top++ = stack_key(walk == Walk::occlude_log ? node.wide_node : 0, slot, node.child[slot]);
    }
}

// Pushes the entered children. Every hit occludes, so that any order gives the same answer: leaves
// come first, as they stand next to their node. Only the log depends on the order.
template<Walk walk, int N>
inline void push_children(const WalkNode<N>& node, unsigned entered, StackKey*& top) {
    if constexpr (walk == Walk::occlude_log) {
        push_slots<walk>(node, entered, top);
    } else {
        push_slots<walk>(node, entered & ~node.leaves, top);
        push_slots<walk>(node, entered & node.leaves, top);
    }
}

template<Walk walk>
[[gnu::noinline]] bool occluded_by_instance(const WalkPrimitive& p, const LocalRay& ray,
                                            WalkQuery& query, int level) {
    if (level == kWalkLevels) return false;
    const LocalRay inside = local_ray(origin_in_instance(p, ray), direction_in_instance(p, ray));
    return walk_occluder<walk>(target_stream(p), inside, query, level + 1);
}

template<Walk walk>
inline bool occluded_by_leaf(const WalkPrimitive* p, const LocalRay& ray, WalkQuery& query,
                             int level) {
    for (;; ++p) {
        ++query.primitives;
        LocalHit hit;
        const bool occluded = is_triangle(*p)   ? test_triangle<walk>(*p, ray, query, hit)
                              : is_instance(*p) ? occluded_by_instance<walk>(*p, ray, query, level)
                                                : test_other<walk>(*p, ray, query, hit);
        if (occluded) {
            if constexpr (walk == Walk::occlude_log)
                query.log[level].instance = is_instance(*p) ? p->index : kNoInstance;
            return true;
        }
        if (p->last) return false;
    }
}

// Whether anything of an object and what it instances lies within the limit.
template<Walk walk>
bool walk_occluder(const WalkUnit* units, const LocalRay& ray, WalkQuery& query, int level) {
    const BoxRay box = box_ray(ray, inverse_direction(ray.direction, -kInfinity), false);
    StackKey stack[kWalkStack];
    StackKey* top = stack;
    *top++ = 0;
    do {
        const StackKey key = *--top;
        const auto reference = static_cast<std::uint32_t>(key);
        const WalkUnit* unit = units + (reference & kWalkUnitMask);
        if ((reference & kWalkLeaf) != 0) {
            ++query.leaves;
            if (!occluded_by_leaf<walk>(primitives_at(units, reference), ray, query, level))
                continue;
            if constexpr (walk == Walk::occlude_log) {
                query.log[level].wide_node = static_cast<std::uint32_t>(key >> kKeyShift);
                query.log[level].slot = slot_of(key);
            }
            return true;
        }
        ++query.nodes;
        alignas(32) float entries[kWide];
        if ((reference & kWalkNarrow) != 0) {
            const auto& node = *reinterpret_cast<const WalkNode<4>*>(unit);
            push_children<walk>(
                node, enter_children<Float4>(node, box, query.distance, entries, nullptr), top);
        } else {
            const auto& node = *reinterpret_cast<const WalkNode<8>*>(unit);
            push_children<walk>(
                node, enter_children<Float8>(node, box, query.distance, entries, nullptr), top);
        }
    } while (top != stack);
    return false;
}

inline LocalRay root_ray(const WalkQuery& query) {
    return local_ray(triple(query.origin), triple(query.direction));
}

template<Walk walk>
bool start_nearest(const WalkUnit* root, WalkQuery& query) {
    return walk_nearest<walk>(root, root_ray(query), triple(query.inverse), query, 0);
}

template<Walk walk>
bool start_occluder(const WalkUnit* root, WalkQuery& query) {
    return walk_occluder<walk>(root, root_ray(query), query, 0);
}

} // namespace
} // namespace mh
