// The samples of a light at a point: how many, where they arrive, what the layers take of them.
// SPDX-License-Identifier: MIT
#include "lights/light_shot.h"

#include "accel/walk.h"
#include "hit/surface_builder.h"
#include "lights/state.h"
#include "math/at.h"
#include "math/roots.h"
#include "math/stop.h"
#include "output/aov.h"
#include "output/camera.h"
#include "run/estimator.h"
#include "run/state.h"
#include "shading/hair_table.h"
#include "shading/media.h"
#include "shading/microfacet.h"
#include "shading/scattering.h"
#include "shading/state.h"

#include <array>
#include <cstdlib>

namespace mh {

namespace {

constexpr float kInversePi = 1.0f / kPi;
constexpr float kFourPi = 4.0f * kPi;

// Share of strategy a against b by their densities. 0 where a finds nothing.
float balance(float a, float b) {
    return a > 0.0f ? 1.0f / (1.0f + b / a) : 0.0f; // in this form a may be infinite
}

// The sample at another point of a diffusing face; skipped when many tries find none.
void add_diffused(const LightShot& shot, AddSample add, LightSplit& sum) {
    constexpr int kTries = 4096;
    SurfacePoint moved;
    Vec3 weight;
    Ray chord;
    for (int i = 0; i < kTries; ++i) {
        if (!relocate_in_diffusion(shot.ray, shot.point, moved, weight, chord)) continue;
        add({.light = shot.light,
             .ray = shot.ray,
             .point = shot.point,
             .target = moved,
             .jump = weight,
             .target_primitive = chord.hit_primitive,
             .target_kind = chord.hit_kind,
             .cursor = shot.cursor,
             .count = shot.count},
            sum);
        return;
    }
}

void add_sample(const LightShot& shot, AddSample add, LightSplit& sum) {
    const bool moves = shot.count == 0 ? shot.point.diffusion_active : diffuses(shot.point);
    if (moves && is_face(shot.ray.hit_kind))
        add_diffused(shot, add, sum);
    else
        add(shot, sum);
}

LightShot shot_at_hit(const Light* light, const Ray& ray, const SurfacePoint& point) {
    return {.light = light,
            .ray = ray,
            .point = point,
            .target = point,
            .jump = splat(1.0f),
            .target_primitive = ray.hit_primitive,
            .target_kind = ray.hit_kind,
            .cursor = ray.cursor};
}

void scale(LightSplit& sum, float factor) {
    sum.to_lambertian *= factor;
    sum.to_transmissive *= factor;
    sum.to_glossy *= factor;
}

LightSplit sum_first_hit(const Light* light, const Ray& ray, const SurfacePoint& point,
                         const SampleLoop& loop, AddSample add) {
    constexpr std::uint32_t kSequenceMask = 0xFFFF; // the sequence repeats after 65536 samples
    LightSplit sum;
    LightShot shot = shot_at_hit(light, ray, point);
    shot.count = loop.count;
    for (std::uint32_t i = loop.first; i < loop.count && !stop_requested(); i += loop.stride) {
        shot.cursor.sample = i & kSequenceMask;
        add_sample(shot, add, sum);
    }
    scale(sum, static_cast<float>(loop.stride) / static_cast<float>(loop.count));
    return sum;
}

// A frame's samples of a first hit, one stretch after the other along the pixel's sequence. The
// ray's cursor is that of one sample a frame.
[[gnu::noinline]] LightSplit sum_exact_hit(const Light* light, const Ray& ray,
                                           const SurfacePoint& point, std::uint32_t count,
                                           AddSample add) {
    LightSplit sum;
    LightShot shot = shot_at_hit(light, ray, point);
    shot.count = count;
    const std::uint32_t of_run = count * static_cast<std::uint32_t>(camera_frames());
    for (std::uint32_t i = 0; i < count; ++i) {
        shot.cursor =
            in_stretch(ray.cursor, place_in_stretch(ray.cursor.sample * count + i, of_run));
        add_sample(shot, add, sum);
    }
    scale(sum, 1.0f / static_cast<float>(count));
    return sum;
}

// Apart from the one sample of deeper hits, which are many.
[[gnu::noinline]] LightSplit sum_loop(const Light* light, const Ray& ray, const SurfacePoint& point,
                                      std::int32_t sample, AddSample add) {
    const SampleLoop loop = first_hit_loop(ray, point, sample);
    return is_exact() ? sum_exact_hit(light, ray, point, loop.count / loop.stride, add)
                      : sum_first_hit(light, ray, point, loop, add);
}

const HairTable& hair_table(std::int32_t shader) {
    return at(Shaders, shader).hair_table;
}

float hair_bounce_density(const Ray& ray, const SurfacePoint& source) {
    if (ray.scatter == Scatter::lambertian)
        return hair_diffuse(source.outgoing, ray.direction, source);
    if (ray.scatter != Scatter::glossy_reflection) return 0.0f;
    if (!has_record(Shaders, ray.source_shader)) return 0.0f;
    const Vec3 density =
        hair_lobe_pdf(hair_table(ray.source_shader), source.outgoing, ray.direction, source);
    const std::array<float, 3> of_lobe = {density.x, density.y, density.z};
    return ray.hair_lobe < of_lobe.size() ? of_lobe[ray.hair_lobe] : 0.0f;
}

float glossy_density(const SurfacePoint& source, const Vec3& direction) {
    if (has_facets(source)) return evaluate_facets(source, direction).density;
    return is_exact() ? facet_density(source.outgoing, direction, source)
                      : ward_lobe(source.outgoing, direction, source);
}

// Density with which the bounce that made the ray chose its direction.
float bounce_density(const Ray& ray) {
    const SurfacePoint& source = *ray.source_point;
    if (ray.source_kind == HitKind::hair) return hair_bounce_density(ray, source);
    switch (ray.scatter) {
    case Scatter::lambertian: return dot(ray.direction, source.normal) * kInversePi;
    case Scatter::transmissive: return -dot(ray.direction, source.normal) * kInversePi;
    case Scatter::glossy_reflection: return glossy_density(source, ray.direction);
    case Scatter::none:
    case Scatter::glossy_refraction:
    case Scatter::specular_reflection:
    case Scatter::specular_refraction: return 0.0f;
    }
    std::abort();
}

void add_to_surface(const LightShot& shot, const Response& response, const Arrival& arrival,
                    LightSplit& sum) {
    const Vec3 diffuse = arrival.light * shot.jump * shot.point.transmittance;
    const auto weighted = [&](float density) {
        return balance(arrival.sampled, arrival.bounced * density);
    };
    if (response.lambertian > 0.0f)
        sum.to_lambertian +=
            diffuse
            * (response.lambertian * response.diffuse * weighted(response.lambertian * kInversePi));
    if (response.transmissive > 0.0f)
        sum.to_transmissive +=
            diffuse * (response.transmissive * weighted(response.transmissive * kInversePi));
    if (response.lobe > 0.0f && has_facets(shot.point))
        sum.to_glossy +=
            arrival.light * response.facets * (response.lobe * weighted(response.lobe) * kPi);
    else if (response.lobe > 0.0f)
        sum.to_glossy += arrival.light * (response.glossy * response.lobe * weighted(response.lobe))
                         * (shot.point.reflectance * kFourPi);
}

void add_to_hair(const LightShot& shot, const Arrival& arrival, LightSplit& sum) {
    const SurfacePoint& point = shot.point;
    const Vec3 light = arrival.light * kPi;
    if (point.lambertian_active) {
        const float h = hair_diffuse(point.outgoing, arrival.direction, point);
        sum.to_lambertian += light * (h * balance(arrival.sampled, arrival.bounced * h));
    }
    if (!point.glossy_active) return;
    std::array<Vec3, 3> lobes;
    Vec3 density;
    hair_glossy(hair_table(shot.ray.hit_shader), point.outgoing, arrival.direction, point, lobes,
                density);
    const Vec3 weight = {balance(arrival.sampled, arrival.bounced * density.x),
                         balance(arrival.sampled, arrival.bounced * density.y),
                         balance(arrival.sampled, arrival.bounced * density.z)};
    sum.to_glossy += light * (lobes[0] * weight.x + lobes[1] * weight.y + lobes[2] * weight.z);
}

// The lobe of the bounces: mirrored facets, of which those below the surface are drawn again. The
// factor 4 pi of the classic lobe is taken out.
void add_exact_lobe(const SurfacePoint& point, const Vec3& direction, Response& response) {
    response.glossy = 0.0f;
    if (!(dot(direction, point.geometric_normal) > 0.0f)) return;
    response.lobe = facet_density(point.outgoing, direction, point);
    if (response.lobe > 0.0f)
        response.glossy = 0.25f * static_cast<float>(facets_until_kept(point));
}

void add_facets(const SurfacePoint& point, const Vec3& direction, Response& response) {
    const FacetLobe lobe = evaluate_facets(point, direction);
    response.lobe = lobe.density;
    response.facets = lobe.share;
}

// Starts where rays may leave the target.
Ray ray_to_light(const LightShot& shot, const Vec3& direction, float distance) {
    Ray shadow = shadow_ray(shot.ray, shot.target.position, direction, distance);
    shadow.source_kind = shot.target_kind;
    shadow.source_primitive = shot.target_primitive;
    leave_surface(shadow, shot.target);
    return shadow;
}

} // namespace

bool diffuses(const SurfacePoint& point) {
    return point.diffusion_active && min_channel(point.diffusion_color) > 0.0f;
}

LightSplit sum_light_samples(const Light* light, const Ray& ray, const SurfacePoint& point,
                             std::int32_t sample, AddSample add) {
    if (spread_bounces(ray) > 0) return take_one_sample(light, ray, point, add);
    return sum_loop(light, ray, point, sample, add);
}

LightSplit sum_exact_samples(const Light* light, const Ray& ray, const SurfacePoint& point,
                             std::int32_t samples, AddSample add) {
    if (spread_bounces(ray) > 0) return take_one_sample(light, ray, point, add);
    if (samples > 1)
        return sum_exact_hit(light, ray, point, static_cast<std::uint32_t>(samples), add);
    LightSplit sum;
    LightShot shot = shot_at_hit(light, ray, point);
    shot.count = 1;
    add_sample(shot, add, sum);
    return sum;
}

LightSplit take_one_sample(const Light* light, const Ray& ray, const SurfacePoint& point,
                           AddSample add) {
    LightSplit sum;
    if (spread_bounces(ray) < RendererSettings.bounce)
        add_sample(shot_at_hit(light, ray, point), add, sum);
    return sum;
}

bool sided_response(const LightShot& shot, const Vec3& direction, Response& response) {
    const float c = dot(direction, shot.target.normal);
    const float g = dot(direction, shot.target.geometric_normal);
    if (c > 0.0f && g > 0.0f) response.lambertian = c;
    if (c < 0.0f && g < 0.0f) response.transmissive = -c;
    if (dot(direction, shot.point.geometric_normal) > 0.0f)
        response.glossy = dot(direction, shot.point.normal);
    return complete_response(shot, direction, response);
}

bool complete_response(const LightShot& shot, const Vec3& direction, Response& response) {
    if (is_hair(shot)) return true;
    const SurfacePoint& point = shot.point;
    if (!point.lambertian_active || !(response.lambertian > 0.0f)) response.lambertian = 0.0f;
    if (!point.transmissive_active || !(response.transmissive > 0.0f)) response.transmissive = 0.0f;
    const bool rough = point.diffuse_model != DiffuseModel::lambert && !point.diffusion_active;
    if (rough && response.lambertian > 0.0f) response.diffuse = diffuse_share(point, direction);
    const bool shines = point.glossy_active && point.reflectance != 0.0f;
    if (point.glossy_active && has_facets(point))
        add_facets(point, direction, response);
    else if (shines && is_exact())
        add_exact_lobe(point, direction, response);
    else if (shines && response.glossy > 0.0f)
        response.lobe = ward_lobe(point.outgoing, direction, point);
    return response.lambertian > 0.0f || response.transmissive > 0.0f || response.lobe > 0.0f;
}

Vec3 transparency(const LightShot& shot, const Vec3& direction, float distance, HitKind light_kind,
                  std::int32_t light_primitive) {
    Ray shadow = ray_to_light(shot, direction, distance);
    shadow.hit_kind = light_kind;
    shadow.hit_primitive = light_primitive;
    shadow_query(shadow);
    if (!any_above(shadow.weight, kNothing)) return {};
    return is_exact() && distance < kFar ? medium_attenuation(SkyLight.medium, distance)
                                         : shadow.weight;
}

Vec3 transparency_to(const LightShot& shot, const Vec3& end) {
    Ray shadow = ray_to_light(shot, end - shot.target.position, kFar);
    const Vec3 way = end - shadow.origin;
    shadow.distance = length(way);
    shadow.direction = way / shadow.distance;
    shadow_query(shadow);
    if (!any_above(shadow.weight, kNothing)) return {};
    const Medium& medium = SkyLight.medium;
    return is_clear(medium) ? splat(1.0f) : medium_attenuation(medium, shadow.distance);
}

void add_arrival(const LightShot& shot, const Response& response, const Arrival& arrival,
                 LightSplit& sum) {
    if (is_hair(shot))
        add_to_hair(shot, arrival, sum);
    else
        add_to_surface(shot, response, arrival, sum);
}

void add_face_arrival(const LightShot& shot, const Response& response, const Arrival& arrival,
                      const FaceSample& face, LightSplit& sum) {
    if (GeometryLight.aov_list.empty()) return add_arrival(shot, response, arrival, sum);
    LightSplit one;
    add_arrival(shot, response, arrival, one);
    sum += one;
    for (Aov& aov : GeometryLight.aov_list)
        if (aov.shader == face.shader) add_light_aov(aov, shot.ray, shot.point, one, face.share);
}

bool is_weighed(Scatter scatter) {
    return scatter == Scatter::lambertian || scatter == Scatter::transmissive
           || scatter == Scatter::glossy_reflection;
}

float bounce_share(const Ray& ray, std::int32_t sample, float light_density) {
    const float density = bounce_density(ray);
    if (!(density > 0.0f)) return 0.0f;
    if (spread_bounces(ray) > 1) return balance(density, light_density);
    return balance(static_cast<float>(RendererSettings.bounce_samples) * density,
                   static_cast<float>(sample) * light_density);
}

float exact_bounce_share(const Ray& ray, std::int32_t samples, float light_density) {
    const auto bounces = static_cast<float>(ray.source_point->rays.bounces);
    return balance(bounces * bounce_density(ray), static_cast<float>(samples) * light_density);
}

bool competes_with_samples(const Ray& ray) {
    return spread_bounces(ray) > 0 && is_weighed(ray.scatter) && outside_solids(ray)
           && ray.source_point != nullptr;
}

} // namespace mh
