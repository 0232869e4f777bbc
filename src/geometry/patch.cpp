// Evaluation of curved patches.
// SPDX-License-Identifier: MIT
#include "geometry/patch.h"

#include "math/roots.h"

namespace mh {

namespace {

// The lattice makes the weights of an edge's points equal from both sides. Integers make them so
// for every level: float division would not for multiples of 43, which divides 22403.
constexpr std::uint64_t kLattice = 22403;

float snapped(std::uint64_t part, std::uint64_t level) {
    const std::uint64_t whole = part * kLattice / level;
    return static_cast<float>(whole) / static_cast<float>(kLattice);
}

// Smooth step: weight of a corner's candidate.
float ease(float x) {
    return x * x * (3.0f - 2.0f * x);
}

// first / (first + second), 0 when first is 0
float share(float first, float second) {
    return first == 0.0f ? 0.0f : first / (first + second);
}

// The patch seen from corner p: curves along both edges of p, blended across. `t` is the weight of
// p, `across` that of q against r.
Vec3 candidate(float t, float across, const OrientedPoint& p, const OrientedPoint& q,
               const OrientedPoint& r) {
    return blend(across, blend(t, p, q), blend(t, p, r)).position;
}

} // namespace

Barycentric grid_weights(std::uint64_t level, std::uint64_t row, std::uint64_t j) {
    return {snapped(level - row, level), snapped(row - j, level), snapped(j, level)};
}

// h(t) = t s (t d1 - s d2) is 0 at both ends, where its slopes -d2 and -d1 take the components
// along the normals out of the chord.
OrientedPoint blend(float t, const OrientedPoint& a, const OrientedPoint& b) {
    const float s = 1.0f - t;
    const Vec3 n = normalize(t * a.normal + s * b.normal);
    const Vec3 chord = a.position - b.position;
    const float d1 = dot(chord, a.normal), d2 = dot(chord, b.normal);
    const float h = (-t * d1 + s * d2) * (-t) * s;
    const Vec3 point = t * a.position + s * b.position + h * n;
    const float slope = (1.0f + (3.0f * s - 4.0f) * s) * d1 + (3.0f * s - 2.0f) * s * d2;
    const Vec3 along = normalize(slope * n + h * (b.normal - a.normal) - chord);
    const Vec3 normal = normalize(cross(along, cross(n, along)));
    return {point, normal == Vec3{} ? n : normal}; // a = b: no direction along the curve
}

Vec3 patch_point(const std::array<OrientedPoint, 3>& corners, const Barycentric& weights) {
    const auto& [p0, p1, p2] = corners;
    const auto [a, b, c] = weights;
    const Vec3 x0 = candidate(a, share(b, c), p0, p1, p2);
    const Vec3 x1 = candidate(b, share(c, a), p1, p2, p0);
    const Vec3 x2 = candidate(c, share(a, b), p2, p0, p1);
    const float w0 = ease(a), w1 = ease(b), w2 = ease(c);
    const float total = w0 + w1 + w2;
    return x0 * (w0 / total) + x1 * (w1 / total) + x2 * (w2 / total);
}

} // namespace mh
