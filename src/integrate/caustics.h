// Caustic photons: a kd-tree over them [Jensen01] and the estimate of light from the 32 nearest.
// SPDX-License-Identifier: MIT
#pragma once

#include "hit/ray.h"

namespace mh {

// Builds the tree over Photons, which it reorders, and reports; resets the look-up caches of all
// threads. After casting.
void BuildPhotonTree();

// Forgets the tree; after the run.
void ClearPhotonTree();

// Light of caustic photons around the point; black with fewer than two within
// RendererSettings.radius.
Vec3 estimate_caustics(const Ray& ray, const SurfacePoint& point);

} // namespace mh
