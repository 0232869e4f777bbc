// The radiance estimator: closest hit, surface point, light samples, bounces, emission, medium,
// and the end of weak paths (Russian roulette).
// SPDX-License-Identifier: MIT
#include "integrate/radiance.h"

#include "accel/walk.h"
#include "hit/surface_builder.h"
#include "integrate/bounces.h"
#include "integrate/density.h"
#include "integrate/features.h"
#include "integrate/run_context.h"
#include "integrate/shared_bounces.h"
#include "lights/gaffer.h"
#include "lights/geometry_light.h"
#include "lights/light_sampling.h"
#include "lights/sky_light.h"
#include "lights/state.h"
#include "math/at.h"
#include "math/stop.h"
#include "output/aov.h"
#include "output/camera.h"
#include "run/estimator.h"
#include "run/state.h"
#include "shading/evaluate.h"
#include "shading/media.h"
#include "shading/state.h"

#include <algorithm>

namespace mh {

namespace {

constexpr int kDeepest = 255; // Ray::depth has 8 bits

// A gather ray ends at this much beyond the gather length.
constexpr float kDistanceMargin = 1e-6f;

bool path_has_ended(const Ray& ray) {
    if (ray.depth >= std::min(RendererSettings.ray_depth, kDeepest)) return true;
    return !carries_light(ray.weight) || stack_is_low(ray) || stop_requested();
}

// Whether a gather ray stops here and takes the density estimate for the light of the surface.
bool ends_in_density(const Ray& ray) {
    if (!RendererSettings.final_gather || !ray.hit_in_root) return false;
    if (is_exact() && !is_face(ray.hit_kind)) return false; // nothing but faces has cells
    if (ray.diffuse_bounces >= RendererSettings.bounce) return true;
    return ray.diffuse_bounces != 0 && ray.distance > RendererSettings.distance + kDistanceMargin;
}

// Whether nothing can come from the hit: beyond the limit of bounces, on a side that is dark.
bool is_lost(const Ray& ray) {
    if (ray.depth == 0 || within_bounces(ray)) return false;
    return side_of(at(Shaders, ray.hit_shader), ray.front_side).dark;
}

// Light samples of all lights. Inside a solid, and where only a mirror would receive it, none.
LightSplit direct_light(const Ray& ray, const SurfacePoint& point) {
    const bool receives = point.lambertian_active || point.transmissive_active
                          || point.glossy_active || ray.hit_kind == HitKind::hair;
    if (!receives || !within_bounces(ray) || !outside_solids(ray)) return {};
    LightSplit light = direct_geometry(ray, point);
    if (SkyLight.sample > 0) light += direct_sky(ray, point);
    if (!PointLights.empty() || !ParallelLights.empty()) light += sum_analytic_lights(ray, point);
    return light;
}

// Of each layer, sampled light and bounces, times its colour.
LightSplit scattered_light(const Ray& ray, const SurfacePoint& point) {
    const LightSplit light = direct_light(ray, point);
    if (sees_features(ray)) add_direct_light(ray, point, light);
    LightSplit parts;
    if (point.lambertian_active)
        parts.to_lambertian =
            (light.to_lambertian + bounce_lambertian(ray, point)) * point.lambertian_color;
    if (point.transmissive_active)
        parts.to_transmissive =
            (light.to_transmissive + bounce_transmissive(ray, point)) * point.transmissive_color;
    if (point.glossy_active)
        parts.to_glossy = (light.to_glossy + bounce_glossy(ray, point)) * point.glossy_color;
    if (point.specular_active)
        parts.to_specular =
            (light.to_specular + bounce_specular(ray, point)) * point.specular_color;
    return parts;
}

Vec3 density_estimate(const Ray& ray, const CompiledLayer& layer) {
    Vec3 density;
    if (layer.lambertian_present) density += density_lambertian(ray);
    if (layer.transmissive_present) density += density_transmissive(ray);
    return density;
}

// The layer of a hit that sends the density estimate and nothing else, so that its surface point is
// not needed; null where it is, or where a layer is to be drawn.
const CompiledLayer* layer_of_bare_density(const Ray& ray) {
    if (ray.diffuse_bounces == 0 || !is_face(ray.hit_kind)) return nullptr;
    const Shader& shader = at(Shaders, ray.hit_shader);
    const LayerList& list = layers_of(shader, ray.front_side);
    if (list.count != 1) return nullptr;
    const CompiledLayer& layer = shader.compiled_layers[list.index[0]];
    return layer.plain_diffuse && !layer.emits ? &layer : nullptr;
}

Vec3 attenuated(const Vec3& light, const Ray& ray) {
    const bool in_solid = std::fabs(camera_ior() - ray.refraction) >= kSameIndex;
    const Medium& medium = in_solid ? at(Shaders, ray.hit_shader).medium : SkyLight.medium;
    return is_clear(medium) ? light : light * medium_attenuation(medium, ray.distance);
}

// Chance by which a path of the exact estimator is kept: after three bounces paths that carry
// little light are thinned out, and what is left counts for all [ArvoKirk90].
float survival(const Ray& ray) {
    constexpr int kSafeBounces = 3;
    constexpr float kFullWeight = 0.5f; // paths of this throughput are not thinned
    if (!is_exact() || ray.depth <= kSafeBounces) return 1.0f;
    return std::min(max_channel(ray.weight) / kFullWeight, 1.0f);
}

// Whether the path goes on; its weight then counts for those that do not.
bool survives(Ray& ray, float chance) {
    if (chance >= 1.0f) return true;
    if (!(draw_pair(ray.cursor, Draw::survival).x < chance)) return false;
    ray.weight = ray.weight / chance;
    return true;
}

// Whether a hit may send more than one ray of a kind in this frame: the first that spreads light.
bool may_send_several(const Ray& ray) {
    if (spread_bounces(ray) > 0) return false;
    const std::int32_t most =
        std::max({RendererSettings.bounce_samples, GeometryLight.sample, SkyLight.sample});
    return most > camera_frames();
}

// Where paths end behind the hit, light samples have no bounces to compete with.
void count_rays(const Ray& ray, SurfacePoint& point) {
    if (may_send_several(ray)) point.rays = plan_rays(ray, point);
    if (ray.depth + 1 >= std::min(RendererSettings.ray_depth, kDeepest)) point.rays.bounces = 0;
}

Vec3 sky_seen(const Ray& ray) {
    const Vec3 light = sky_radiance(ray);
    if (sees_features(ray)) add_sky_feature(ray, light);
    return light;
}

Vec3 bare_density(const Ray& ray, const CompiledLayer& layer) {
    const Vec3 density = density_estimate(ray, layer);
    if (is_exact() && ray.depth == 1 && !layer.has_fresnel && !layer.has_models)
        note_bare_end(ray, density);
    return attenuated(send_light(ray, density), ray);
}

Vec3 radiance_of_survivor(Ray& ray) {
    const bool exact = is_exact();
    if (exact) expect_sky(ray);
    if (!closest_hit(ray)) return sky_seen(ray);
    const bool use_density = ends_in_density(ray);
    if (!use_density && is_lost(ray)) return {};
    if (use_density)
        if (const CompiledLayer* const layer = layer_of_bare_density(ray))
            return bare_density(ray, *layer);
    if (exact && within_bounces(ray)) expect_sky_sample(ray);
    SurfacePoint point;
    point.use_density = use_density;
    build_surface_point(ray, point);
    evaluate_layers(ray, point);
    if (exact) count_rays(ray, point);
    if (sees_features(ray)) measure_way(ray, point);
    const LightSplit parts = scattered_light(ray, point);
    const Vec3 density = use_density ? density_estimate(ray, *point.layer) : Vec3{};
    const Vec3 emission = surface_emission(ray, point, density);
    if (exact && ray.depth == 0) note_first_hit(ray, point);
    if (exact && ray.depth == 1)
        note_bounce_end(ray, point, parts.to_lambertian + parts.to_transmissive + density);
    if (ray.depth == 0) write_first_hit_aovs(ray, point, parts, emission);
    if (sees_features(ray)) add_features(ray, point, emission);
    const Vec3 sum = parts.to_lambertian + parts.to_transmissive + parts.to_glossy
                     + parts.to_specular + emission;
    return attenuated(sum, ray);
}

} // namespace

Vec3 radiance(Ray& ray) {
    if (path_has_ended(ray)) return {};
    const float chance = survival(ray);
    if (!survives(ray, chance)) return {};
    const Vec3 value = radiance_of_survivor(ray);
    return chance < 1.0f ? value / chance : value;
}

} // namespace mh
