// What all lights share: links, sample counts, shadow rays, relocation in diffusing surfaces, the
// start of a photon.
// SPDX-License-Identifier: MIT
#pragma once

#include "hit/ray.h"
#include "lights/types.h"

namespace mh {

// Appends the indices of the named shaders to the link, each once; names that match none are
// dropped, as if they had not been given.
void ResolveLink(LightLink& link);

bool holds_shader(const LightLink& link, std::int32_t shader);

// Whether the link is empty or holds the shader.
inline bool is_linked(const LightLink& link, std::int32_t shader) {
    return link.shaders.empty() || holds_shader(link, shader);
}

// Samples of a first-hit loop: i = first; i < count; i += stride, each weighted stride / count.
struct SampleLoop {
    std::uint32_t first = 0, count = 1, stride = 1;
};

// Samples of a point over the whole run: `sample` times how much the point can matter, at most
// `sample`, then at least one for each of the frames and a multiple of them.
std::int32_t samples_of_run(float importance, std::int32_t sample, std::int32_t frames);

// The same for a light, by the brightest active layer times the ray's weight; this frame takes its
// share of them.
SampleLoop first_hit_loop(const Ray& ray, const SurfacePoint& point, std::int32_t sample);

// Rays of this frame from the first hit that spreads light, in the exact estimator: of each kind of
// bounce, to lamps, to the sky.
SentRays plan_rays(const Ray& ray, const SurfacePoint& point);

// A ray from the point, to be limited in distance by the caller, that excludes the receiver.
Ray shadow_ray(const Ray& ray, const Vec3& origin, const Vec3& direction, float distance);

// One try to jump to a nearby point of the same shader, for a diffusing point of a face: `moved` is
// that point, `weight` the colour weight of the jump, `chord` the ray that hit there. False when
// this random chord through the volume around the point found none.
bool relocate_in_diffusion(const Ray& ray, const SurfacePoint& original, SurfacePoint& moved,
                           Vec3& weight, Ray& chord);

// The common fields of a photon's first ray; the caller has set origin, direction and power. The
// photon draws from `dimension` on and starts in a medium of index `ior`.
void start_photon(Ray& ray, std::int64_t number, std::uint32_t dimension, float ior,
                  const LightLink& link);

} // namespace mh
