// The analytic lights: set-up, and the light they send to a point.
// SPDX-License-Identifier: MIT
#pragma once

#include "hit/ray.h"
#include "lights/types.h"

namespace mh {

int AddPointLight();
int AddParallelLight();

// Phase 7: links, frames, cones, photon powers, AOVs; reports.
void InitializeGaffer();

// Writes all AOVs of point, then parallel lights, and empties both tables.
void FinalizeGaffer();

LightSplit sum_analytic_lights(const Ray& ray, const SurfacePoint& point);
LightSplit direct_point(PointLight& light, const Ray& ray, const SurfacePoint& point);
LightSplit direct_parallel(ParallelLight& light, const Ray& ray, const SurfacePoint& point);

} // namespace mh
