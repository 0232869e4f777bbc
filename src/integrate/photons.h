// Photon casting: one pass from all lights before the first frame.
// SPDX-License-Identifier: MIT
#pragma once

#include "shading/ray.h"

#include <cstdint>

namespace mh {

void CastPhotonsFromParallelLights(std::uint32_t pass);
void CastPhotonsFromPointLights(std::uint32_t pass);
void CastPhotonsFromGeometryLight(std::uint32_t pass);
void CastPhotonsFromSky(std::uint32_t pass);

void trace_photon(Ray& ray);

// Empties the photons and resets the caches; keeps the storage.
void ClearPhotons();

} // namespace mh
