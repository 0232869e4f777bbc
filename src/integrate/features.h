// Features of a path for FeaturePlanes: what its first rough surface looks like, seen directly, by
// mirrors and through smooth glass. Costs nothing while no planes of features are kept.
// SPDX-License-Identifier: MIT
#pragma once

#include "hit/ray.h"
#include "output/feature_planes.h"

namespace mh {

// Whether the ray has met nothing but mirrors and smooth glass, and features are kept.
inline bool sees_features(const Ray& ray) {
    return ray.depth == ray.specular_bounces && keeps_features();
}

// Before the camera ray of the thread's next path.
void begin_features(int thread);

// At a hit of a ray that sees features: before its children are sent, with the light samples that
// it takes, and after. emission: light of the surface itself.
void measure_way(const Ray& ray, const SurfacePoint& point);
void add_direct_light(const Ray& ray, const SurfacePoint& point, const LightSplit& light);
void add_features(const Ray& ray, const SurfacePoint& point, const Vec3& emission);

// Where such a ray leaves the scene towards this light.
void add_sky_feature(const Ray& ray, const Vec3& light);

// What the path has met.
FeatureSample take_features(int thread);

} // namespace mh
