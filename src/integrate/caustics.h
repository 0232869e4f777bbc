// Caustic photons: a kd-tree over them [Jensen01] and the estimate of light from the 32 nearest.
// SPDX-License-Identifier: MIT
#pragma once

#include "hit/ray.h"
#include "integrate/state.h"

namespace mh {

// Builds the tree over Photons, which it reorders, and reports; resets the look-up caches of all
// threads. After casting.
void BuildPhotonTree();

// Forgets the tree; after the run.
void ClearPhotonTree();

inline bool has_caustics() {
    return !IntegrateState.photon_tree.nodes.empty();
}

// Light of caustic photons around the point; black with fewer than two within
// RendererSettings.radius. There are some.
Vec3 estimate_caustics(const Ray& ray, const SurfacePoint& point);

} // namespace mh
