// What all lights share: links, sample counts, shadow rays, relocation in diffusing surfaces.
// SPDX-License-Identifier: MIT
#pragma once

#include "lights/types.h"
#include "shading/ray.h"

namespace mh {

// Appends the indices of the named shaders to the link; names that match none are dropped.
void ResolveLink(LightLink& link);

// Whether the link is empty or holds the shader.
bool is_linked(const LightLink& link, std::int32_t shader);

// Samples of a first-hit loop: i = first; i < count; i += stride, each weighted stride / count.
struct SampleLoop {
    std::uint32_t first = 0, count = 0, stride = 1;
};

// `sample` adapted to how much the point can matter: the brightest active layer times the ray's
// weight; a multiple of the camera's frames.
SampleLoop first_hit_loop(const Ray& ray, const SurfacePoint& point, std::int32_t sample);

// A ray from the point, to be limited in distance by the caller, that excludes the receiver.
Ray shadow_ray(const Ray& ray, const Vec3& origin, const Vec3& direction, float distance);

// A nearby point of the same shader for a diffusing surface, and the colour weight of the jump.
// False when none was found after a bounded number of tries.
bool relocate_in_diffusion(const Ray& ray, const SurfacePoint& original, SurfacePoint& moved,
                           Vec3& weight);

// The common fields of a photon's first ray; the caller has set origin, direction and power.
void start_photon(Ray& ray, std::int64_t number, std::uint32_t dimension, float ior,
                  const LightLink& link);

} // namespace mh
