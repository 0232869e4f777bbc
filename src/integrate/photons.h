// Photon casting: one pass from all lights before the first frame. Photons split into every layer
// of every surface, leave their light in the density estimator, and those that came by specular
// bounces alone are kept as caustic photons.
// SPDX-License-Identifier: MIT
#pragma once

#include "hit/ray.h"

#include <cstdint>

namespace mh {

// Before and after the four casts: empties and fills Photons, density cells and splats.
void StartPhotons();
void FinishPhotons();

// Casts a few photons of each light before the four passes, to estimate the cost of the rest; only
// when a hook of progress is set.
void TryPhotons(std::uint32_t pass);

// The rest of each light's photons, in parallel, with progress and the rate; pass selects further
// numbers of the light's sequence.
void CastPhotonsFromParallelLights(std::uint32_t pass);
void CastPhotonsFromPointLights(std::uint32_t pass);
void CastPhotonsFromGeometryLight(std::uint32_t pass);
void CastPhotonsFromSky(std::uint32_t pass);

// Follows a photon to its next hit and from there along all layers.
void trace_photon(Ray& ray);

// Forgets the caustic photons; keeps the storage.
void ClearPhotons();

} // namespace mh
