// The rays of the benchmarks, stored beforehand: primary, diffuse bounce, shadow.
// SPDX-License-Identifier: MIT
#pragma once

#include "geometry/types.h"
#include "hit/ray.h"
#include "scenes.h"

namespace mh::bench {

struct BenchRay {
    Vec3 origin, direction;
    float distance; // of shadow rays: to the light
};

struct RaySets {
    std::vector<BenchRay> primary, bounce, shadow;
};

// All steps from the primitives of an object to the stream that rays walk.
void MakeTree(std::size_t object);

// Puts the scene into Objects and makes its trees; seconds of the construction.
double LoadScene(const Scene& scene);

// Number of the calling thread among those that trace.
inline thread_local std::uint8_t bench_thread = 0;

// Rays of a square picture in rows, and from every hit a cosine bounce and a ray to the light.
RaySets MakeRays(const Scene& scene, int side);

// The ray with its hit, and, in its weight, what a shadow ray lets pass.
Ray trace(const BenchRay& ray);
Ray trace_shadow(const BenchRay& ray);

// Distance of the hit, kFar for a miss.
float our_closest(const BenchRay& ray);
bool our_occluded(const BenchRay& ray);

} // namespace mh::bench
