// Sums over the rough surfaces that one path sees by specular bounces alone.
// SPDX-License-Identifier: MIT
#include "integrate/features.h"

#include "integrate/state.h"
#include "math/at.h"
#include "math/roots.h"
#include "shading/microfacet.h"

namespace mh {

namespace {

PathFeatures& features_of(const Ray& ray) {
    return IntegrateState.features_of_thread[ray.thread];
}

float brightness(const Vec3& colour) {
    return (colour.x + colour.y + colour.z) / 3.0f;
}

// Share of a reflecting layer's light that comes from this side, or from both of a layer that
// refracts.
float sent_share(const Ray& ray, const SurfacePoint& point) {
    const bool all = ray.hit_kind == HitKind::hair || point.refraction_kind != Material::opaque;
    return all ? 1.0f : point.reflectance;
}

Vec3 glossy_albedo(const Ray& ray, const SurfacePoint& point) {
    if (point.refraction_kind == Material::opaque && has_facets(point))
        return facet_reflectance(point, point.cos_outgoing) * point.glossy_color;
    return sent_share(ray, point) * point.glossy_color;
}

// How much of what the surface sends to the ray is its own, and not that of what mirrors show.
float rough_share(const Ray& ray, const SurfacePoint& point, const Vec3& rough) {
    if (!point.specular_active) return 1.0f;
    const float own = brightness(rough);
    const float mirrored = sent_share(ray, point) * brightness(point.specular_color);
    return own > 0.0f ? own / (own + mirrored) : 0.0f;
}

} // namespace

void begin_features(int thread) {
    if (!keeps_features()) return;
    PathFeatures& path = at(IntegrateState.features_of_thread, thread);
    path.direct = path.albedo = path.normal = {};
    path.depth = path.weight = 0.0f;
}

void measure_way(const Ray& ray, const SurfacePoint& point) {
    PathFeatures& path = features_of(ray);
    const float before = ray.depth > 0 ? path.way[ray.depth - 1u] : 0.0f;
    path.way[ray.depth] = before + length(point.position - ray.origin);
}

void add_direct_light(const Ray& ray, const SurfacePoint& point, const LightSplit& light) {
    Vec3 seen;
    if (point.lambertian_active) seen += light.to_lambertian * point.lambertian_color;
    if (point.transmissive_active) seen += light.to_transmissive * point.transmissive_color;
    if (point.glossy_active) seen += light.to_glossy * point.glossy_color;
    features_of(ray).direct += ray.weight * seen;
}

void add_features(const Ray& ray, const SurfacePoint& point, const Vec3& emission) {
    PathFeatures& path = features_of(ray);
    const Vec3 rough = point.transmittance * (point.lambertian_color + point.transmissive_color)
                       + glossy_albedo(ray, point) + min(emission, splat(1.0f));
    path.albedo += ray.weight * min(rough, splat(1.0f));
    const float weight = brightness(ray.weight) * rough_share(ray, point, rough);
    path.normal += weight * point.normal;
    path.depth += weight * path.way[ray.depth];
    path.weight += weight;
}

void add_sky_feature(const Ray& ray, const Vec3& light) {
    PathFeatures& path = features_of(ray);
    path.direct += ray.weight * light;
    path.albedo += ray.weight * min(light, splat(1.0f));
    path.weight += brightness(ray.weight);
}

FeatureSample take_features(int thread) {
    if (!keeps_features()) return {};
    const PathFeatures& path = at(IntegrateState.features_of_thread, thread);
    if (!is_finite(path.direct)) return {};
    if (!(path.weight > 0.0f)) return {path.direct, path.albedo, {}, 0.0f};
    const FeatureSample sample = {path.direct, path.albedo, path.normal / path.weight,
                                  path.depth / path.weight};
    return is_finite(sample.albedo) && is_finite(sample.normal) && std::isfinite(sample.depth)
               ? sample
               : FeatureSample{};
}

} // namespace mh
