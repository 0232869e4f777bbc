// All emitting surfaces as one light: a fixed table of sample points.
// SPDX-License-Identifier: MIT
#pragma once

#include "hit/ray.h"
#include "lights/types.h"

namespace mh {

// Settings to their defaults; at startup and after the run, AOVs and links included when all.
void ResetGeometryLight(bool all);

// Phase 6: area, sample table, AOVs; reports.
void InitializeGeometryLight();

// Releases the table, writes the AOVs, resets the settings but not AOVs and links.
void FinalizeGeometryLight();

// Light of the table's samples at a point.
LightSplit direct_geometry(const Ray& ray, const SurfacePoint& point);

// Emission that a ray meets at a point, weighted against light samples, plus `density` (what the
// estimator holds there, 0 without); added to the AOVs; times transmittance.
Vec3 surface_emission(const Ray& ray, const SurfacePoint& point, const Vec3& density);

// Adds to the AOVs the light that the hit of a ray sends back to its source, and returns it.
Vec3 send_light(const Ray& ray, const Vec3& light);

// First ray of geometry photon `number`; ray.weight is black when no light leaves.
void emit_geometry_photon(Ray& ray, std::int64_t number);

} // namespace mh
