// The vertices of a primitive with the weights of a point on it, and what the arrays of its part
// hold there.
// SPDX-License-Identifier: MIT
#pragma once

#include "geometry/types.h"
#include "hit/ray.h"
#include "math/at.h"

namespace mh {

template<std::size_t N>
struct HitVertices {
    std::array<std::uint32_t, N> vertex;
    std::array<float, N> weight;
};

// At barycentric weights.
inline HitVertices<3> vertices_at(const Triangle& face, float a, float b, float c) {
    return {face.vertex, {a, b, c}};
}

// At bilinear parameters: a runs from edge 0-1 to edge 2-3, b from edge 3-0 to edge 1-2.
inline HitVertices<4> vertices_at(const Tetragon& face, float a, float b) {
    return {face.vertex, {(1.0f - a) * (1.0f - b), (1.0f - a) * b, a * b, a * (1.0f - b)}};
}

// The ends of a segment; `along` runs from 0 to 1.
inline HitVertices<2> vertices_at(std::uint32_t first, float along) {
    return {{first, first + 1}, {1.0f - along, along}};
}

inline HitVertices<3> hit_vertices(const Triangle& face, const Ray& ray) {
    return vertices_at(face, ray.hit_a, ray.hit_b, ray.hit_c);
}

inline HitVertices<4> hit_vertices(const Tetragon& face, const Ray& ray) {
    return vertices_at(face, ray.hit_a, ray.hit_b);
}

// act(vertices) for the hit of a ray, whatever its kind; without a hit there are none.
template<typename Act>
auto with_hit_vertices(const Ray& ray, const Act& act) {
    const Part& part = *ray.hit_part;
    const std::int32_t i = ray.hit_primitive;
    switch (ray.hit_kind) {
    case HitKind::particle: return act(HitVertices<1>{{at(part.particles, i)}, {1.0f}});
    case HitKind::hair: return act(vertices_at(at(part.cylinders, i), ray.hit_c));
    case HitKind::triangle: return act(hit_vertices(at(part.triangles, i), ray));
    case HitKind::tetragon: return act(hit_vertices(at(part.tetragons, i), ray));
    case HitKind::none:
    case HitKind::unset: break;
    }
    return act(HitVertices<0>{});
}

// Of an array with a value for each of the vertices.
template<typename T, std::size_t N>
T interpolate(const HitVertices<N>& at, const std::vector<T>& values) {
    T result;
    for (std::size_t i = 0; i < N; ++i)
        result = result + at.weight[i] * values[at.vertex[i]];
    return result;
}

} // namespace mh
