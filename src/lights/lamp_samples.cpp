// Light samples of the lamps.
// SPDX-License-Identifier: MIT
#include "lights/lamp_samples.h"

#include "lights/lamp_shape.h"
#include "lights/lamp_tree.h"
#include "lights/lamps.h"
#include "lights/state.h"
#include "math/at.h"
#include "run/types.h"

namespace mh {

namespace {

// Density of the light samples at the ray's source point for the direction in which the ray met the
// point, 1/sr; 0 where that is not a lamp.
float lamp_sample_density(const Ray& ray, const SurfacePoint& point) {
    const LampSet& set = GeometryLight.lamps;
    const Vec3& from = ray.source_point->position;
    constexpr float kMargin = 16.0f;
    const LampHit hit = {point.position,
                         ray.hit_part,
                         static_cast<std::uint32_t>(ray.hit_primitive),
                         ray.hit_kind == HitKind::triangle,
                         ray.front_side,
                         kMargin * point.rounding};
    const LampChoice choice = find_lamp(set, from, hit);
    if (choice.lamp < 0) return 0.0f;
    const Lamp& lamp = at(set.lamps, choice.lamp);
    return choice.probability * lamp_density(lamp, from, ray.direction, ray.distance);
}

// Whether caustic photons hold the light of a virtual lamp that the ray met: it came to a diffuse
// surface by mirrors and smooth glass alone.
bool photons_hold(const Ray& ray) {
    const bool diffuse =
        ray.last_spread == Scatter::lambertian || ray.last_spread == Scatter::transmissive;
    return diffuse && !is_weighed(ray.scatter) && GeometryLight.photons > 0;
}

// Just off the sampled point, on the lit side, so that the lamp does not stop its own light.
Vec3 place_before(const Lamp& lamp, const LampPoint& x, const SurfacePoint& target) {
    constexpr float kEndsBefore = 1.0f - 4e-5f;
    return target.position + kEndsBefore * x.distance * x.direction + target.rounding * lamp.normal;
}

} // namespace

void add_lamp_sample(const LightShot& shot, LightSplit& sum) {
    const LampSet& set = GeometryLight.lamps;
    const Vec3& from = shot.target.position;
    const float u = is_choice(set) ? light_pair(shot, Draw::lamp).x : 0.0f;
    const LampChoice choice = choose_lamp(set, from, u);
    if (choice.lamp < 0) return;
    const Lamp& lamp = at(set.lamps, choice.lamp);
    const LampPoint x = sample_lamp(lamp, from, light_pair(shot, Draw::lamp_place));
    const float density = choice.probability * x.density;
    if (!(density > 0.0f)) return;
    Response response;
    if (!sided_response(shot, x.direction, response)) return;
    const Vec3 passed = transparency_to(shot, place_before(lamp, x, shot.target));
    if (passed == Vec3{}) return;
    const Vec3 emission = lamp_emission(lamp, from + x.distance * x.direction, -x.direction, true);
    const Arrival arrival = {x.direction, passed * emission / (density * kPi),
                             exact_count(shot) * density,
                             static_cast<float>(shot.point.rays.bounces)};
    add_face_arrival(shot, response, arrival,
                     {static_cast<std::int32_t>(lamp.shader), 1.0f / exact_count(shot)}, sum);
}

float lamp_bounce_share(const Ray& ray, const SurfacePoint& point) {
    if (!point.layer->virtual_light || spread_bounces(ray) == 0) return 1.0f;
    if (photons_hold(ray)) return 0.0f;
    const bool competes = GeometryLight.sample > 0 && !point.layer->window
                          && competes_with_samples(ray) && is_face(ray.hit_kind);
    if (!competes) return 1.0f;
    return exact_bounce_share(ray, ray.source_point->rays.lamps, lamp_sample_density(ray, point));
}

} // namespace mh
