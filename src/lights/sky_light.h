// The sky: what rays that leave the scene see, and importance sampling of its image.
// SPDX-License-Identifier: MIT
#pragma once

#include "hit/ray.h"
#include "lights/types.h"

namespace mh {

// All fields to their defaults, AOVs and links included; at startup and after the run.
void ResetSkyLight();

// What a new "sky_light" block resets: colour, photons, frame, medium, sample, thickness, ior.
void ResetSkyLightBlock(SkyLightRecord& sky);

// Phase 5: frame, medium, images, sampling map, AOVs; reports. May run twice.
void InitializeSkyLight();

// Releases the map and the images, writes the AOVs, resets the settings but not AOVs, links and
// names.
void FinalizeSkyLight();

// Radiance of the sky along the ray, by backdrop, image, map or colour.
Vec3 sky_lookup(const Ray& ray);

// The image (times colour) or the colour in a direction: the full resolution, no backdrop.
Vec3 sky_direction_radiance(const Vec3& direction);

// Asks for what sky_radiance may read for a bounce of the exact estimator, so that it arrives while
// the ray is walked.
void expect_sky(Ray& ray);

// The same for the sample that direct_sky takes at the ray's hit, while the hit is worked out.
void expect_sky_sample(const Ray& ray);

// Value of a ray that left the scene: linked, weighted against light samples, added to the AOVs.
Vec3 sky_radiance(const Ray& ray);

// Light of the sky's samples at a point.
LightSplit direct_sky(const Ray& ray, const SurfacePoint& point);

// First ray of sky photon `number`; ray.weight is black when no light comes from there.
void emit_sky_photon(Ray& ray, std::int64_t number);

} // namespace mh
