// Light that photons send straight to the camera from glossy surfaces: the light_path AOVs.
// SPDX-License-Identifier: MIT
#pragma once

#include "hit/ray.h"

namespace mh {

// Before and after the photons: sums for the pixels when the camera has such an AOV.
void StartSplats();
void FinishSplats();

// Whether an image collects splats; between start and finish.
bool splats_wanted();

// Adds what a glossy point sends of a photon with this power, times the layer's colour and the
// photon's weight, to the pixel that sees it. Thread-safe. Pinhole cameras only: a panorama has no
// image plane to project to.
void splat_glossy(const Ray& photon, const SurfacePoint& point, const Vec3& power);

} // namespace mh
