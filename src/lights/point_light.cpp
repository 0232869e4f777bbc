// Light from a point or, when blurred, from a sphere about it; with a spot falloff about its
// direction.
// SPDX-License-Identifier: MIT
#include "lights/analytic_light.h"
#include "lights/gaffer.h"
#include "lights/state.h"
#include "math/frame.h"
#include "math/roots.h"
#include "math/sampling.h"
#include "run/estimator.h"

#include <algorithm>
#include <cmath>

namespace mh {

namespace {

float smooth_falloff(const PointLight& light, float cosine) {
    const float width = std::max(light.inner_cos - light.outer_cos, 0.0f);
    const float t = (cosine - light.outer_cos) / width;
    if (!(t > 0.0f)) return 0.0f;
    const float step = t < 1.0f ? t * t * (3.0f - 2.0f * t) : 1.0f;
    return light.falloff == Falloff::cosine ? step * std::max(cosine, 0.0f) : step;
}

// By the angle between the direction away from the light and its axis: 1 within the inner cone, 0
// outside the outer one. Equal angles give a hard cone.
float spot_falloff(const PointLight& light, const Vec3& away) {
    if (light.falloff != Falloff::linear) return smooth_falloff(light, dot(away, light.direction));
    const float angle = std::acos(std::clamp(dot(away, light.direction), -1.0f, 1.0f));
    const float f = (light.outer_rad - angle) / (light.outer_rad - light.inner_rad);
    return f > 0.0f ? std::min(f, 1.0f) : 0.0f;
}

// A point of the light.
Vec3 emitting_point(const PointLight& light, SampleCursor cursor) {
    if (!(light.blur > 0.0f)) return light.position;
    return light.position + light.blur * sample_sphere(next_pair(cursor));
}

// A soft light as an evenly shining sphere, by directions of the cone that it fills, or by all of
// them from within it [Wang92]. Its radiance is color / blur^2, times pi in the units of lights.
void add_sphere_sample(const LightShot& shot, LightSplit& sum) {
    const PointLight& light = static_cast<const PointLight&>(*shot.light);
    const auto number = static_cast<std::uint32_t>(&light - PointLights.data());
    const Vec2 uv = light_pair(shot, numbered(Draw::point_light, number));
    const Vec3 v = light.position - shot.target.position;
    const float square = dot(v, v), blur_square = light.blur * light.blur;
    const bool inside = square <= blur_square;
    const float sine_square = blur_square / square;
    const float one_minus_cos =
        inside ? 2.0f : sine_square / (1.0f + std::sqrt(1.0f - sine_square));
    const Vec3 axis = unit_direction(v);
    Vec3 tangent, bitangent;
    tangent_frame(axis, tangent, bitangent);
    const Vec3 direction =
        from_frame(sample_cone_local(uv, one_minus_cos), tangent, bitangent, axis);
    const float falloff = spot_falloff(light, -direction);
    if (!(falloff > 0.0f)) return;
    const float along = dot(v, direction);
    const float half_chord = std::sqrt(std::max(blur_square - square + along * along, 0.0f));
    const float distance = inside ? along + half_chord : along - half_chord;
    const Vec3 value = light.color * (2.0f * falloff * one_minus_cos / blur_square);
    add_analytic(shot, {direction, value}, distance, shot.count == 0, sum);
}

void add_point_sample(const LightShot& shot, LightSplit& sum) {
    const PointLight& light = static_cast<const PointLight&>(*shot.light);
    const Vec3 v = emitting_point(light, shot.cursor) - shot.target.position;
    const float square = dot(v, v);
    if (!(square > 0.0f)) return;
    const Vec3 direction = normalize(v);
    const float falloff = spot_falloff(light, -direction);
    if (!(falloff > 0.0f)) return;
    const bool wrapped = shot.count == 0; // the loop takes plain cosines
    add_analytic(shot, {direction, light.color * (falloff / square)}, safe_root(square), wrapped,
                 sum);
}

// Over the sphere, or over the cone that holds the scene for a light outside of it. The azimuth
// steps with the index.
Vec3 photon_direction(const PointLight& light, std::int64_t index) {
    const double turn = static_cast<double>(index) / static_cast<double>(light.photons);
    const float u = sequence_value(static_cast<std::uint32_t>(index), 0);
    const Vec2 uv = {static_cast<float>(turn), u};
    const Vec3 local =
        light.inside_scene ? sample_sphere(uv) : sample_cone_local(uv, light.one_minus_cos_blur);
    return from_frame(local, light.tangent, light.bitangent, light.axis);
}

// Where rays of a direction leave the light as an evenly shining sphere, of which they fill a disk
// across it.
Vec3 leaving_point(const PointLight& light, const Vec3& direction, SampleCursor cursor) {
    if (!(light.blur > 0.0f)) return light.position;
    const Vec2 disk = concentric_disk(next_pair(cursor));
    const float height = safe_root(1.0f - disk.x * disk.x - disk.y * disk.y);
    Vec3 tangent, bitangent;
    tangent_frame(direction, tangent, bitangent);
    return light.position
           + light.blur * from_frame({disk.x, disk.y, height}, tangent, bitangent, direction);
}

} // namespace

void PointLight::reset() {
    *this = {};
}

LightSplit direct_point(PointLight& light, const Ray& ray, const SurfacePoint& point) {
    const bool sphere = is_exact() && light.blur > 0.0f;
    return direct_analytic(light, ray, point, sphere ? add_sphere_sample : add_point_sample);
}

void PointLight::emit_photon(Ray& ray, std::int64_t index) const {
    constexpr std::uint32_t kDirectionDimensions = 1, kBlurDimensions = 2;
    SampleCursor cursor;
    cursor.sample = static_cast<std::uint32_t>(index);
    cursor.dimension = kDirectionDimensions;
    ray.direction = photon_direction(*this, index);
    ray.origin =
        is_exact() ? leaving_point(*this, ray.direction, cursor) : emitting_point(*this, cursor);
    ray.power = photon_power * (spot_falloff(*this, ray.direction) / static_cast<float>(photons));
    const std::uint32_t drawn = kDirectionDimensions + (blur > 0.0f ? kBlurDimensions : 0);
    start_photon(ray, index, drawn, ior, link);
}

} // namespace mh
