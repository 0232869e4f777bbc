// Light from one direction, or from a cone of directions about it when blurred.
// SPDX-License-Identifier: MIT
#include "accel/state.h"
#include "lights/analytic_light.h"
#include "lights/gaffer.h"
#include "lights/state.h"
#include "math/frame.h"
#include "math/sampling.h"
#include "run/estimator.h"

namespace mh {

namespace {

// A direction in which the light travels.
Vec3 travel_direction(const Light& light, const Vec2& uv) {
    if (!(light.blur > 0.0f)) return light.axis;
    const Vec3 local = sample_cone_local(uv, light.one_minus_cos_blur);
    return from_frame(local, light.tangent, light.bitangent, light.axis);
}

void add_parallel_sample(const LightShot& shot, LightSplit& sum) {
    const auto& light = static_cast<const ParallelLight&>(*shot.light);
    const auto number = static_cast<std::uint32_t>(&light - ParallelLights.data());
    const Vec2 uv = light_pair(shot, numbered(Draw::parallel_light, number));
    const Vec3 direction = -travel_direction(light, uv);
    add_analytic(shot, {direction, shot.light->color}, kFar, true, sum);
}

} // namespace

void ParallelLight::reset() {
    *this = {};
}

LightSplit direct_parallel(ParallelLight& light, const Ray& ray, const SurfacePoint& point) {
    return direct_analytic(light, ray, point, add_parallel_sample);
}

// Starts on the disk that covers the scene as seen along the light's axis, or, in the exact
// estimator, along the photon itself: a tilted disk would cast fewer photons on the scene.
void ParallelLight::emit_photon(Ray& ray, std::int64_t index) const {
    SampleCursor cursor;
    cursor.sample = static_cast<std::uint32_t>(index);
    const Vec2 disk = concentric_disk(next_pair(cursor));
    ray.direction = travel_direction(*this, next_pair(cursor));
    Vec3 across = tangent, along = bitangent, start = axis;
    if (is_exact()) tangent_frame(start = ray.direction, across, along);
    ray.origin = SceneCenter + SceneRadius * (disk.x * across + disk.y * along - start);
    ray.power = photon_power / static_cast<float>(photons);
    constexpr std::uint32_t kDiskDimensions = 2, kConeDimensions = 2;
    const std::uint32_t drawn = kDiskDimensions + (blur > 0.0f ? kConeDimensions : 0);
    start_photon(ray, index, drawn, ior, link);
}

} // namespace mh
