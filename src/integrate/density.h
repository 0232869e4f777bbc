// The density estimator: a grid of cells on every face of the root object in which photons leave
// their light.
// SPDX-License-Identifier: MIT
#pragma once

#include "geometry/types.h"
#include "shading/ray.h"

namespace mh {

// Sizes and clears the grid of a part by RendererSettings.resolution; none below 1e-8. Ends the
// process with a message when the grid needs more than 1 GiB.
void InitializeDensity(Part& part);

// Adds the light to the cell of the hit; thread-safe. Nothing outside the root object.
void deposit(const Ray& ray, const Vec3& value);

// Radiance of the cell of the hit: on its side, and through it from the other side.
Vec3 density_lambertian(const Ray& ray);
Vec3 density_transmissive(const Ray& ray);

} // namespace mh
