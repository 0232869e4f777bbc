// Tests of a ray against one primitive of a stream. Every comparison is written so that NaN means
// no hit; the order of operations is part of the result.
// SPDX-License-Identifier: MIT
#pragma once

#include "accel/hair_curve.h"
#include "accel/walk_types.h"
#include "math/constants.h"
#include "math/simd8.h"

namespace mh {
namespace {

// Lower bound of hit distances and margin below the limit, scene units.
constexpr float kRayEpsilon = 1e-6f;

// Below this a square has the root 1e-5, as everywhere.
constexpr float kSmallestRootSquare = 1e-10f;

// A vector of T: one float, or a float or double per lane.
template<typename T>
struct Triple {
    T x, y, z;
};

template<typename T>
inline Triple<T> operator+(const Triple<T>& a, const Triple<T>& b) {
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}

template<typename T>
inline Triple<T> operator-(const Triple<T>& a, const Triple<T>& b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}

template<typename T>
inline Triple<T> operator*(const T& s, const Triple<T>& a) {
    return {s * a.x, s * a.y, s * a.z};
}

template<typename T>
inline T dot(const Triple<T>& a, const Triple<T>& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

template<typename T>
inline Triple<T> cross(const Triple<T>& a, const Triple<T>& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

inline Triple<float> triple(const float* p) {
    return {p[0], p[1], p[2]};
}

inline Triple<float> triple(const Vec3& p) {
    return {p.x, p.y, p.z};
}

template<typename T>
inline Triple<T> fill(const Triple<float>& a) {
    return {fill<T>(a.x), fill<T>(a.y), fill<T>(a.z)};
}

template<typename F, std::uint32_t N>
inline Triple<F> load_triple(const float (&rows)[3][N]) {
    return {load<F>(rows[0]), load<F>(rows[1]), load<F>(rows[2])};
}

inline float limited_root(float x) {
    return x > kSmallestRootSquare ? exact_root(x) : 1e-5f;
}

// A ray in the space of one object, and the object's stream.
struct LocalRay {
    Triple<float> origin, direction;
    const WalkUnit* stream;
};

struct LocalHit {
    float distance;
    float a, b, c;
    bool front;
};

template<typename F>
struct TriangleHits {
    F t, b0, b1, b2, facing;
    F least;        // of b0, b1 and b2
    unsigned lanes; // a bit for each one hit
};

// Nearer to 0 than this a weight may have the wrong sign by rounding, which moves the point that a
// ray meets by up to 4e-7 of its distance: by a thousandth of a triangle 2,500 times smaller than
// that. Then the corners decide [Woop13], as between two neighbours tested by their weights rays
// would pass.
constexpr float kEdgeWeight = 0x1p-10f;

// Tests triangles side by side, with a margin of kEdgeWeight around each. With b1 and b2 at least
// 0, b0 is below 0 when one of them is above 1. If one of the three is NaN so is b0, which min()
// then returns.
template<typename F, std::uint32_t N>
inline TriangleHits<F> hit_triangles(const WalkTriangles<N>& f, const Triple<F>& origin,
                                     const Triple<F>& direction, float limit) {
    TriangleHits<F> hits;
    const Triple<F> to_p0 = load_triple<F>(f.p0) - origin;
    const Triple<F> normal = load_triple<F>(f.normal);
    hits.facing = dot(normal, direction);
    hits.t = dot(normal, to_p0) / hits.facing;
    const Triple<F> in_plane = hits.t * direction - to_p0;
    const F square = load<F>(f.normal_square);
    const Triple<F> r = {in_plane.x / square, in_plane.y / square, in_plane.z / square};
    hits.b1 = dot(r, load_triple<F>(f.e2_normal));
    hits.b2 = dot(r, load_triple<F>(f.normal_e1));
    hits.b0 = fill<F>(1.0f) - hits.b1 - hits.b2;
    hits.least = min(min(hits.b1, hits.b2), hits.b0);
    hits.lanes = bits_of(at_most(fill<F>(kRayEpsilon), hits.t)
                         & at_most(hits.t, fill<F>(limit - kRayEpsilon))
                         & at_most(fill<F>(-kEdgeWeight), hits.least));
    return hits;
}

inline bool is_near_edge(float b0, float b1, float b2) {
    return !(min(min(b1, b2), b0) >= kEdgeWeight);
}

inline bool runs_inside(const LocalRay& ray, WalkFace face) {
    const Triple<float>&o = ray.origin, &d = ray.direction;
    const Object& object = *reinterpret_cast<const WalkNode<kWide>*>(ray.stream)->object;
    return RunsInside(object, face, {o.x, o.y, o.z}, {d.x, d.y, d.z});
}

// Weights beyond an edge come onto it.
inline float weight_on_face(float b) {
    return min(max(b, 0.0f), 1.0f);
}

// Bilinear parameters from the signed volumes that the ray spans with the four edges; facing is the
// product of direction and normal. In double: far from the origin of the ray, float volumes of
// neighbours would leave gaps between them.
inline bool runs_inside(const WalkCorners& f, const LocalRay& ray, float facing, float& a,
                        float& b) {
    const Triple<Double4> corners = {load<Double4>(f.x), load<Double4>(f.y), load<Double4>(f.z)};
    const Triple<Double4> here = corners - fill<Double4>(ray.origin);
    const Triple<Double4> next = {rotate(here.x), rotate(here.y), rotate(here.z)};
    const Double4 volumes = dot(fill<Double4>(ray.direction), cross(here, next));
    const Double4 zero = fill<Double4>(0.0f);
    const unsigned as_front = less_equal(zero, volumes), as_back = less_equal(volumes, zero);
    if ((facing > 0.0f ? as_front : as_back) != 0xFu) return false;
    alignas(32) double e[4];
    store(e, volumes);
    const double across = e[0] + e[2], along = e[1] + e[3];
    if (across == 0.0 || along == 0.0) return false; // the ray runs in two opposite edges
    a = static_cast<float>(e[0] / across);
    b = static_cast<float>(e[3] / along);
    return true;
}

inline bool hit_tetragon(const WalkCorners& f, const LocalRay& ray, float limit, LocalHit& hit) {
    const Triple<float> diagonal02 = {f.x[2] - f.x[0], f.y[2] - f.y[0], f.z[2] - f.z[0]};
    const Triple<float> diagonal13 = {f.x[3] - f.x[1], f.y[3] - f.y[1], f.z[3] - f.z[1]};
    const Triple<float> normal = cross(diagonal02, diagonal13);
    const float facing = dot(normal, ray.direction);
    const Triple<float> p0 = {f.x[0], f.y[0], f.z[0]};
    const float t = dot(normal, p0 - ray.origin) / facing;
    if (facing == 0.0f || !(t >= kRayEpsilon) || !(t <= limit - kRayEpsilon)) return false;
    hit = {t, 0.0f, 0.0f, 0.0f, facing < 0.0f};
    return runs_inside(f, ray, facing, hit.a, hit.b);
}

// Where a ray meets the planes of tetragons side by side.
struct PlaneHits {
    alignas(16) float t[4], facing[4];
};

// A bit for each plane that is met within the limit.
inline unsigned meet_planes(const WalkTetragons& f, const Triple<Lanes4>& origin,
                            const Triple<Lanes4>& direction, float limit, PlaneHits& hits) {
    const Triple<Lanes4> normal = load_triple<Lanes4>(f.normal);
    const Lanes4 facing = dot(normal, direction);
    const Lanes4 t = dot(normal, load_triple<Lanes4>(f.p0) - origin) / facing;
    store(hits.t, t);
    store(hits.facing, facing);
    return bits_of(at_most(fill<Lanes4>(kRayEpsilon), t)
                   & at_most(t, fill<Lanes4>(limit - kRayEpsilon)));
}

// The roots of a sphere's quadratic: nearest distance b of the centre, in lengths of the direction,
// whose square is given, and h, the square of half the chord, formed as r^2 - |V - b d|^2, which
// doesn't cancel far away.
struct SphereRoots {
    Triple<float> to_center;
    float b, h;
};

inline SphereRoots sphere_roots(const WalkParticle& p, const LocalRay& ray, float square) {
    const Triple<float> to_center = triple(p.center) - ray.origin;
    const float b = dot(to_center, ray.direction) / square;
    const Triple<float> off = to_center - b * ray.direction;
    return {to_center, b, p.radius * p.radius - dot(off, off)};
}

inline bool within(float t, float limit) {
    return t > kRayEpsilon && t < limit + kRayEpsilon;
}

inline bool hit_particle(const WalkParticle& p, const SphereRoots& roots, const LocalRay& ray,
                         float limit, LocalHit& hit) {
    if (!(roots.h >= 0.0f)) return false;
    const float s = limited_root(roots.h);
    float t = roots.b - s;
    if (!within(t, limit)) t = roots.b + s;
    if (!within(t, limit)) return false;
    const Triple<float> from_center = t * ray.direction - roots.to_center;
    const float square = dot(roots.to_center, roots.to_center);
    hit = {t, from_center.x, from_center.y, from_center.z,
           square > p.radius * p.radius + kRayEpsilon};
    return true;
}

// The shadow walk looks b - h and b + h ahead, with h as it is and no root, unless the distances
// are to be true.
inline bool occluding_particle(const SphereRoots& roots, float square, bool true_distances,
                               float limit) {
    if (!(roots.h >= 0.0f)) return false;
    const float half = true_distances ? limited_root(roots.h / square) : roots.h;
    return within(roots.b - half, limit) || within(roots.b + half, limit);
}

alignas(32) constexpr float kPieceStart[8] = {0.0f, 0.125f, 0.25f, 0.375f,
                                              0.5f, 0.625f, 0.75f, 0.875f};
alignas(32) constexpr float kPieceEnd[8] = {0.125f, 0.25f, 0.375f, 0.5f,
                                            0.625f, 0.75f, 0.875f, 1.0f};
alignas(32) constexpr float kPieceWeight[8] = {0.0f,        1.0f / 7.0f, 2.0f / 7.0f, 3.0f / 7.0f,
                                               4.0f / 7.0f, 5.0f / 7.0f, 6.0f / 7.0f, 1.0f};

inline Triple<Float8> curve_points(const WalkCylinder& c, const HairCoefficients& table) {
    const Float8 chord = load<Float8>(table.chord);
    const Float8 start = load<Float8>(table.start), end = load<Float8>(table.end);
    return fill<Float8>(triple(c.p0)) + chord * fill<Float8>(triple(c.p1) - triple(c.p0))
           + start * fill<Float8>(triple(c.t0)) + end * fill<Float8>(triple(c.t1));
}

inline Triple<Float8> unit_direction(const Triple<Float8>& a) {
    return (fill<Float8>(1.0f) / root(dot(a, a))) * a;
}

inline Triple<Float8> curve_tangents(const WalkCylinder& c, const float* u) {
    const Triple<float> t0 = triple(c.t0);
    return fill<Float8>(t0) + load<Float8>(u) * fill<Float8>(triple(c.t1) - t0);
}

// Eight straight pieces of the curve at once: ribbons that face the ray, cut at both ends by the
// planes across the interpolated tangent, so that neighbours join.
inline bool hit_cylinder(const WalkCylinder& c, const LocalRay& ray, float limit, LocalHit& hit) {
    const Triple<Float8> origin = fill<Float8>(ray.origin);
    const Triple<Float8> direction = fill<Float8>(ray.direction);
    const Triple<Float8> a = curve_points(c, kHairBegin), b = curve_points(c, kHairEnd);
    const Float8 weight = load<Float8>(kPieceWeight);
    const Float8 radius =
        fill<Float8>(c.radius0) * (fill<Float8>(1.0f) - weight) + fill<Float8>(c.radius1) * weight;
    const Triple<Float8> piece = b - a;
    const Triple<Float8> across = unit_direction(cross(direction, piece));
    const Float8 offset = dot(across, a - origin);
    unsigned lanes = less(absolute(offset), radius);
    if (lanes == 0) return false;
    const Triple<Float8> facing = unit_direction(cross(piece, across));
    const Float8 t = dot(facing, a - origin) / dot(facing, direction);
    const Float8 epsilon = fill<Float8>(kRayEpsilon);
    lanes &= less(epsilon, t) & less(t + epsilon, fill<Float8>(limit));
    const Triple<Float8> point = origin + t * direction;
    const Float8 zero = fill<Float8>(0.0f);
    lanes &= less_equal(zero, dot(curve_tangents(c, kPieceStart), point - a));
    lanes &= less(dot(curve_tangents(c, kPieceEnd), point - b), zero);
    if (lanes == 0) return false;
    alignas(32) float distances[8], offsets[8], radii[8];
    store(distances, t);
    store(offsets, offset);
    store(radii, radius);
    unsigned nearest = static_cast<unsigned>(__builtin_ctz(lanes));
    for (unsigned k = nearest + 1; k < 8; ++k)
        if ((lanes >> k & 1u) != 0 && distances[k] < distances[nearest]) nearest = k;
    hit = {distances[nearest], offsets[nearest] / radii[nearest], 0.0f,
           (static_cast<float>(nearest) + 0.5f) * 0.125f, true};
    return true;
}

} // namespace
} // namespace mh
