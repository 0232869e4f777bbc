// The bounces of camera paths.
// SPDX-License-Identifier: MIT
#include "integrate/bounces.h"

#include "hit/surface_builder.h"
#include "integrate/caustics.h"
#include "integrate/children.h"
#include "integrate/radiance.h"
#include "integrate/run_context.h"
#include "lights/light_sampling.h"
#include "math/at.h"
#include "math/random.h"
#include "math/stop.h"
#include "run/estimator.h"
#include "run/state.h"
#include "shading/hair_table.h"
#include "shading/microfacet.h"
#include "shading/scattering.h"
#include "shading/state.h"

#include <algorithm>
#include <array>

namespace mh {

namespace {

struct Mean {
    Vec3 sum;
    int count = 0;
};

void add(Mean& mean, const Vec3& value) {
    mean.sum += value;
    ++mean.count;
}

// The classic estimator divides by the rays that counted, the exact one by those that were sent.
Vec3 value_of(const Mean& mean, const Ray& ray, const SurfacePoint& point) {
    int count = mean.count;
    if (is_exact()) count = spread_bounces(ray) > 0 ? 1 : point.rays.bounces;
    return count < 2 ? mean.sum : mean.sum / static_cast<float>(count);
}

// Frame after frame the gather rays of a pixel go on along its sequence. The ray's cursor is that
// of one gather ray a frame.
template<typename Gather>
void for_each_exact_ray(const Ray& ray, const SurfacePoint& point, const Gather& gather) {
    if (point.rays.bounces == 1) return gather(ray);
    const auto count = static_cast<std::uint32_t>(point.rays.bounces);
    const std::uint32_t of_run = count * static_cast<std::uint32_t>(camera_frames());
    Ray parent = ray;
    parent.sample_divisor *= point.rays.bounces;
    for (std::uint32_t i = 0; i < count; ++i) {
        parent.cursor =
            in_stretch(ray.cursor, place_in_stretch(ray.cursor.sample * count + i, of_run));
        gather(parent);
    }
}

// Calls gather with the ray from which children are to be spawned. At the first hit that spreads
// light, each gather ray of this frame has its own index in the sequence.
template<typename Gather>
void for_each_gather_ray(const Ray& ray, const SurfacePoint& point, const Vec3& w,
                         const Gather& gather) {
    if (spread_bounces(ray) > 0) return gather(ray);
    if (is_exact()) return for_each_exact_ray(ray, point, gather);
    const auto frames = static_cast<std::uint32_t>(camera_frames());
    const auto count = static_cast<std::uint32_t>(gather_count(w));
    Ray parent = ray;
    parent.sample_divisor *= static_cast<std::int32_t>(count / frames);
    for (std::uint32_t index = frame_of(ray); index < count && !stop_requested(); index += frames) {
        parent.cursor.sample = index;
        gather(parent);
    }
}

void gather_diffuse(const Ray& ray, const SurfacePoint& point, Scatter scatter, const Vec3& w,
                    Mean& mean) {
    Ray child = spawn_child(ray, point, scatter);
    if (!sample_diffuse(ray.cursor, point, scatter, child.direction)) return;
    leave_surface(child, point);
    if (point.diffuse_model != DiffuseModel::lambert && scatter == Scatter::lambertian) {
        const float share = diffuse_share(point, child.direction);
        child.weight = share * w;
        return add(mean, share * radiance(child));
    }
    child.weight = w;
    add(mean, radiance(child));
}

// The same from a point near by, reached under the surface's skin.
void gather_through_skin(const Ray& ray, const SurfacePoint& point, const Vec3& w, Mean& mean) {
    SurfacePoint moved;
    Vec3 jump;
    Ray chord;
    if (!relocate_in_diffusion(ray, point, moved, jump, chord)) return;
    moved.rays = point.rays;
    Ray child = spawn_child(ray, moved, Scatter::lambertian);
    child.source_primitive = chord.hit_primitive;
    child.source_kind = chord.hit_kind;
    if (!sample_diffuse(ray.cursor, moved, Scatter::lambertian, child.direction)) return;
    leave_surface(child, moved);
    child.weight = jump * w;
    add(mean, jump * radiance(child));
}

Vec3 bounce_diffuse(const Ray& ray, const SurfacePoint& point, Scatter scatter, const Vec3& w) {
    if (!carries_light(w) || !within_bounces(ray)) return {};
    const bool skin = scatter == Scatter::lambertian && point.diffusion_active
                      && is_face(ray.hit_kind) && spread_bounces(ray) == 0;
    Mean mean;
    for_each_gather_ray(ray, point, w, [&](const Ray& parent) {
        if (skin) return gather_through_skin(parent, point, w, mean);
        gather_diffuse(parent, point, scatter, w, mean);
    });
    Vec3 sum = value_of(mean, ray, point);
    if (has_caustics() && ray.hit_kind != HitKind::hair) sum += estimate_caustics(ray, point);
    return sum * point.transmittance;
}

void gather_refracted(const Ray& ray, const SurfacePoint& point, const Vec3& w,
                      const FacetSplit& split, Mean& refraction) {
    Ray child = refracted_child(ray, point, Scatter::glossy_refraction, split, w);
    add(refraction, split.refracted_share * radiance(child));
}

void gather_reflected(const Ray& ray, const SurfacePoint& point, const Vec3& w,
                      const FacetSplit& split, Mean& reflection) {
    Ray child = reflected_child(ray, point, Scatter::glossy_reflection, split, w);
    add(reflection, split.reflected_share * split.reflected_color * radiance(child));
}

void gather_glossy(const Ray& ray, const SurfacePoint& point, const Vec3& w, Mean& refraction,
                   Mean& reflection) {
    const FacetSplit split = split_at_facet(ray, point);
    if (split.refracts) gather_refracted(ray, point, w, split, refraction);
    if (split.reflects) gather_reflected(ray, point, w, split, reflection);
}

void gather_hair(const Ray& ray, const SurfacePoint& point, const Vec3& w, Mean& mean) {
    const HairTable& table = at(Shaders, ray.hit_shader).hair_table;
    const bool even = ray.cursor.path != 0;
    const float u = even ? draw_pair(ray.cursor, Draw::hair_offset).x : random_unit();
    const float h = 2.0f * u - 1.0f;
    Ray child = spawn_child(ray, point, Scatter::glossy_reflection);
    Vec3 attenuation;
    const int lobe = sample_hair(table, h, point, child.direction, attenuation);
    leave_surface(child, point);
    child.hair_lobe = static_cast<std::uint8_t>(lobe);
    child.weight = attenuation * w;
    add(mean, attenuation * radiance(child));
}

Vec3 bounce_hair(const Ray& ray, const SurfacePoint& point, const Vec3& w) {
    Mean mean;
    for_each_gather_ray(ray, point, w,
                        [&](const Ray& parent) { gather_hair(parent, point, w, mean); });
    return value_of(mean, ray, point);
}

} // namespace

std::int32_t gather_count(const Vec3& w) {
    return samples_of_run(mean(w), RendererSettings.bounce_samples, camera_frames());
}

Vec3 bounce_lambertian(const Ray& ray, const SurfacePoint& point) {
    const Vec3 w = ray.weight * point.lambertian_color * point.transmittance;
    return bounce_diffuse(ray, point, Scatter::lambertian, w);
}

// The weight lacks the Fresnel factor that the result has; it decides about cut-offs and counts
// alone.
Vec3 bounce_transmissive(const Ray& ray, const SurfacePoint& point) {
    const Vec3 w = ray.weight * point.transmissive_color;
    return bounce_diffuse(ray, point, Scatter::transmissive, w);
}

Vec3 bounce_glossy(const Ray& ray, const SurfacePoint& point) {
    const Vec3 w = ray.weight * point.glossy_color;
    if (!carries_light(w) || !within_bounces(ray)) return {};
    if (ray.hit_kind == HitKind::hair) return bounce_hair(ray, point, w);
    const float share = std::max(point.reflectance, point.transmittance);
    Mean refraction, reflection;
    for_each_gather_ray(ray, point, w * share, [&](const Ray& parent) {
        gather_glossy(parent, point, w, refraction, reflection);
    });
    return value_of(refraction, ray, point) + value_of(reflection, ray, point);
}

Vec3 bounce_specular(const Ray& ray, const SurfacePoint& point) {
    const Vec3 w = ray.weight * point.specular_color;
    if (!carries_light(w)) return {};
    const FacetSplit split = split_at_surface(ray, point);
    Vec3 sum;
    if (split.refracts) {
        Ray child = refracted_child(ray, point, Scatter::specular_refraction, split, w);
        sum += split.refracted_share * radiance(child);
    }
    if (split.reflects) {
        Ray child = reflected_child(ray, point, Scatter::specular_reflection, split, w);
        sum += split.reflected_share * radiance(child);
    }
    return sum;
}

} // namespace mh
