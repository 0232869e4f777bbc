// The rules of a leaf: which primitives a ray may hit, the tests of those that stand in no block,
// and the way into an instance.
// SPDX-License-Identifier: MIT
#pragma once

#include "accel/walk_ray_inl.h"
#include "geometry/types.h"

namespace mh {
namespace {

enum class Walk { closest, probe, occlude, occlude_log };

constexpr bool is_shadow(Walk walk) {
    return walk == Walk::occlude || walk == Walk::occlude_log;
}

inline const WalkPrimitive* primitives_at(const WalkUnit* units, std::uint32_t reference) {
    return reinterpret_cast<const WalkPrimitive*>(units + (reference & kWalkUnitMask));
}

// Primitives of particles and hair have that of their part.
inline std::uint32_t face_shader(const WalkPrimitive& p) {
    const bool triangle = p.kind == static_cast<std::uint8_t>(PrimitiveKind::triangle);
    return triangle ? p.triangle.shader[0] : p.tetragon.shader;
}

inline std::uint64_t identity(std::uint32_t index, std::uint8_t kind) {
    return index | static_cast<std::uint64_t>(kind) << 32;
}

inline std::uint64_t identity(const WalkPrimitive& p) {
    return identity(p.index, p.kind);
}

inline bool is_visible(std::uint8_t visibility, const WalkQuery& query) {
    return (query.visible >> visibility & 1u) != 0;
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

inline bool is_excluded(std::uint64_t primitive, Walk walk, const WalkQuery& query) {
    return primitive == query.source || (is_shadow(walk) && primitive == query.target);
}

// The rules of exclusion and visibility for a triangle. The probe sees the one that it left.
template<Walk walk>
inline bool may_hit_triangle(std::uint32_t index, std::uint8_t visibility, const WalkQuery& query) {
    const auto kind = static_cast<std::uint8_t>(PrimitiveKind::triangle);
    return (walk == Walk::probe || !is_excluded(identity(index, kind), walk, query))
           && is_visible(visibility, query);
}

template<Walk walk>
inline bool may_hit_tetragon(std::uint32_t index, std::uint8_t visibility, const WalkQuery& query) {
    const auto kind = static_cast<std::uint8_t>(PrimitiveKind::tetragon);
    return !is_excluded(identity(index, kind), walk, query) && is_visible(visibility, query);
}

// A triangle that stands in no block.
template<Walk walk>
inline bool test_triangle(const WalkPrimitive& p, const LocalRay& ray, const WalkQuery& query,
                          LocalHit& hit) {
    const TriangleHits<float> hits =
        hit_triangles(p.triangle, ray.origin, ray.direction, query.distance);
    if (hits.lanes == 0) return false;
    hit = {hits.t, weight_on_face(hits.b0), weight_on_face(hits.b1), weight_on_face(hits.b2),
           hits.facing < 0.0f};
    return may_hit_triangle<walk>(p.index, p.visibility, query)
           && (!is_near_edge(hit.a, hit.b, hit.c) || runs_inside(ray, {p.part, p.index}));
}

template<Walk walk>
inline bool test_particle(const WalkPrimitive& p, const LocalRay& ray, const WalkQuery& query,
                          LocalHit& hit) {
    if (walk == Walk::probe || !is_visible(p.visibility, query)) return false;
    if constexpr (is_shadow(walk)) {
        const float square = dot(ray.direction, ray.direction); // not 1 in scaled instances
        return !is_excluded(identity(p), walk, query)
               && occluding_particle(sphere_roots(p.particle, ray, square), square,
                                     query.true_distances, query.distance);
    }
    const SphereRoots roots = sphere_roots(p.particle, ray, 1.0f);
    return !left_particle(p, roots, query)
           && hit_particle(p.particle, roots, ray, query.distance, hit);
}

// The test of a primitive that is no instance.
template<Walk walk>
[[gnu::noinline]] bool test_primitive(const WalkPrimitive& p, const LocalRay& ray,
                                      const WalkQuery& query, LocalHit& hit) {
    switch (p.kind) {
    case static_cast<std::uint8_t>(PrimitiveKind::triangle):
        return test_triangle<walk>(p, ray, query, hit);
    case static_cast<std::uint8_t>(PrimitiveKind::tetragon):
        return may_hit_tetragon<walk>(p.index, p.visibility, query)
               && hit_tetragon(p.tetragon.corners, ray, query.distance, hit);
    case static_cast<std::uint8_t>(PrimitiveKind::cylinder):
        return walk != Walk::probe && !is_excluded(identity(p), walk, query)
               && is_visible(p.visibility, query)
               && hit_cylinder(p.cylinder, ray, query.distance, hit);
    case static_cast<std::uint8_t>(PrimitiveKind::particle):
        return test_particle<walk>(p, ray, query, hit);
    default: return false;
    }
}

inline bool is_instance(const WalkPrimitive& p) {
    return p.kind == static_cast<std::uint8_t>(PrimitiveKind::instance)
           || p.kind == kWalkProjection;
}

inline const WalkTetragons& tetragons_at(const WalkPrimitive& p) {
    return *reinterpret_cast<const WalkTetragons*>(&p);
}

// What follows in the leaf.
inline const WalkPrimitive* next_primitive(const WalkPrimitive* p) {
    return p + (p->kind == kWalkTetragons ? sizeof(WalkTetragons) / sizeof *p : 1);
}

} // namespace
} // namespace mh
