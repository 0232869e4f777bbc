// Bounces of the four layers: the mean of what comes back along the children of a ray, before the
// layer's colour.
// SPDX-License-Identifier: MIT
#pragma once

#include "hit/ray.h"

namespace mh {

// At the first diffuse or glossy hit of a path the first three split into gather rays, of which a
// frame traces its share; deeper they follow one ray, and none from the bounce limit on.
Vec3 bounce_lambertian(const Ray& ray, const SurfacePoint& point);
Vec3 bounce_transmissive(const Ray& ray, const SurfacePoint& point);
Vec3 bounce_glossy(const Ray& ray, const SurfacePoint& point);

// Reflection and refraction at every hit; only ray_depth and the throughput end them.
Vec3 bounce_specular(const Ray& ray, const SurfacePoint& point);

// Gather rays of a point with throughput w over the whole run; a multiple of the camera's frames.
std::int32_t gather_count(const Vec3& w);

} // namespace mh
