// Direct light of point and parallel lights, and what else they share.
// SPDX-License-Identifier: MIT
#include "lights/analytic_light.h"

#include "output/aov.h"

#include <algorithm>
#include <cmath>

namespace mh {

namespace {

// Cosine lowered by the offset so that light ends before the horizon; an offset of 1 gives nothing.
float wrap(float cosine, float offset) {
    const float wrapped = (cosine - offset) / (1.0f - offset);
    return std::isfinite(wrapped) ? wrapped : 0.0f;
}

Response analytic_response(const LightShot& shot, const Vec3& direction, bool wrapped) {
    const float c = dot(direction, shot.target.normal);
    Response response;
    response.lambertian = wrapped ? wrap(c, shot.light->offset) : c;
    response.transmissive = wrapped ? wrap(-c, shot.light->offset) : -c;
    if (wrapped && shot.count > 0) {
        response.lambertian = std::min(response.lambertian, 1.0f);
        response.transmissive = std::min(response.transmissive, 1.0f);
    }
    response.glossy = dot(direction, shot.point.normal);
    return response;
}

} // namespace

LightSplit direct_analytic(Light& light, const Ray& ray, const SurfacePoint& point, AddSample add) {
    if (light.color == Vec3{} || !is_linked(light.link, ray.hit_shader)) return {};
    const bool loops = light.blur > 0.0f || diffuses(point);
    const LightSplit sum = loops ? sum_light_samples(&light, ray, point, light.sample, add)
                                 : take_one_sample(&light, ray, point, add);
    add_light_aovs(light.aov_list, ray, point, sum);
    return sum;
}

void add_analytic(const LightShot& shot, Arrival arrival, float distance, bool wrapped,
                  LightSplit& sum) {
    Response response = analytic_response(shot, arrival.direction, wrapped);
    if (!complete_response(shot, arrival.direction, response)) return;
    const Vec3 passed = transparency(shot, arrival.direction, distance);
    if (passed == Vec3{}) return;
    arrival.light *= passed;
    add_arrival(shot, response, arrival, sum);
}

void SetCone(Light& light, float angle_rad) {
    const float s = std::sin(0.5f * angle_rad);
    light.cos_blur = std::cos(angle_rad);
    light.one_minus_cos_blur = 2.0f * s * s; // 1 - cos x = 2 sin^2(x / 2)
}

} // namespace mh
