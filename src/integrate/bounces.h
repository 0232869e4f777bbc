// Bounces of the four layers: children of a ray, and the mean of what comes back along them before
// the layer's colour.
// SPDX-License-Identifier: MIT
#pragma once

#include "shading/ray.h"

namespace mh {

Vec3 bounce_lambertian(const Ray& ray, const SurfacePoint& point);
Vec3 bounce_transmissive(const Ray& ray, const SurfacePoint& point);
Vec3 bounce_glossy(const Ray& ray, const SurfacePoint& point);
Vec3 bounce_specular(const Ray& ray, const SurfacePoint& point);

// A child of the ray at the point for a bounce of this kind: all fields but direction and weight.
// Photons use it too.
Ray spawn_child(const Ray& ray, const SurfacePoint& point, Scatter scatter);

// Gather rays of a point with throughput w over the whole run; a multiple of the camera's frames.
std::int32_t gather_count(const Vec3& w);

} // namespace mh
