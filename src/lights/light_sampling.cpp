// Links, sample counts, shadow rays, relocation in diffusing surfaces, the start of a photon.
// SPDX-License-Identifier: MIT
#include "lights/light_sampling.h"

#include "accel/walk.h"
#include "hit/surface_builder.h"
#include "lights/state.h"
#include "math/random.h"
#include "math/roots.h"
#include "math/sampling.h"
#include "math/threads.h"
#include "output/camera.h"
#include "run/state.h"
#include "shading/shaders.h"

#include <algorithm>
#include <cmath>

namespace mh {

namespace {

float mean_if(bool active, const Vec3& color) {
    return active ? mean(color) : 0.0f;
}

// Brightest of the layers that lights can reach.
float brightest_layer(const SurfacePoint& point) {
    const float lambertian = mean_if(point.lambertian_active, point.lambertian_color);
    const float transmissive = mean_if(point.transmissive_active, point.transmissive_color);
    const float glossy = mean_if(point.glossy_active, point.glossy_color);
    return std::max({0.0f, lambertian, transmissive, glossy});
}

// How much light the point can send on along the path, as a share of a white one's: the mean of its
// brightest layer times the mean of the weight.
float importance_of(const Ray& ray, const SurfacePoint& point) {
    return brightest_layer(point) / 3.0f * sum(ray.weight);
}

// Radius of a jump: a Rayleigh distribution, by the inverse of its cumulative one.
float jump_radius(float variance) {
    constexpr float kSmallestDraw = 1e-10f, kLogOfSmallest = -10.0f;
    const float u = random_unit();
    const float log_u = u < kSmallestDraw ? kLogOfSmallest : std::log(u);
    return safe_root(-2.0f * log_u * variance);
}

Vec3 random_on_sphere(const Vec3& center, float radius) {
    const float u = random_unit();
    const float v = random_unit();
    return center + radius * sample_sphere({u, v});
}

// Ratio of the gaussians' norms, sqrt(2 pi s_c) / sqrt(2 pi s).
Vec3 jump_weight(const Vec3& variance, float widest) {
    const Vec3 v = kTwoPi * variance;
    return Vec3{safe_root(v.x), safe_root(v.y), safe_root(v.z)} / safe_root(kTwoPi * widest);
}

// A ray that leaves a surface in order to ask about its surroundings, without any exclusion.
Ray query_ray(const Ray& parent, const Vec3& origin, const Vec3& direction, float distance) {
    Ray query;
    query.origin = origin;
    query.direction = direction;
    query.distance = distance;
    query.hit_kind = HitKind::unset;
    query.source_kind = HitKind::unset;
    query.thread = parent.thread;
    query.depth = static_cast<std::uint8_t>(parent.depth + 1);
    return query;
}

} // namespace

void ResolveLink(LightLink& link) {
    for (const std::string& name : link.names) {
        const int shader = FindNamedShader(name);
        if (shader >= 0) link.shaders.push_back(shader);
    }
    std::sort(link.shaders.begin(), link.shaders.end());
    link.shaders.erase(std::unique(link.shaders.begin(), link.shaders.end()), link.shaders.end());
}

bool holds_shader(const LightLink& link, std::int32_t shader) {
    return std::binary_search(link.shaders.begin(), link.shaders.end(), shader);
}

std::int32_t samples_of_run(float importance, std::int32_t sample, std::int32_t frames) {
    const std::int32_t most = std::max(sample, frames);
    const float wanted = importance * static_cast<float>(sample);
    if (wanted <= static_cast<float>(frames) && sample <= frames) return frames;
    std::int32_t count = frames;
    if (wanted >= static_cast<float>(most))
        count = most; // NaN gives the smallest count
    else if (wanted > static_cast<float>(frames))
        count = static_cast<std::int32_t>(wanted);
    return count - count % frames;
}

SampleLoop first_hit_loop(const Ray& ray, const SurfacePoint& point, std::int32_t sample) {
    const std::int32_t frames = camera_frames();
    const float importance = importance_of(ray, point);
    return {frame_of(ray), static_cast<std::uint32_t>(samples_of_run(importance, sample, frames)),
            static_cast<std::uint32_t>(frames)};
}

SentRays plan_rays(const Ray& ray, const SurfacePoint& point) {
    const std::int32_t frames = camera_frames();
    const float importance = importance_of(ray, point);
    const auto of_frame = [&](std::int32_t sample) {
        const std::int32_t count = samples_of_run(importance, sample, frames);
        return count == frames ? 1 : count / frames;
    };
    return {of_frame(RendererSettings.bounce_samples), of_frame(GeometryLight.sample),
            of_frame(SkyLight.sample)};
}

Ray shadow_ray(const Ray& ray, const Vec3& origin, const Vec3& direction, float distance) {
    Ray shadow = query_ray(ray, origin, direction, distance);
    shadow.source_kind = ray.hit_kind;
    shadow.source_primitive = ray.hit_primitive;
    return shadow;
}

bool relocate_in_diffusion(const Ray& ray, const SurfacePoint& original, SurfacePoint& moved,
                           Vec3& weight, Ray& chord) {
    const float widest = max_channel(original.diffusion_color);
    const float radius = jump_radius(widest);
    const Vec3 from = random_on_sphere(original.position, radius);
    const Vec3 to = random_on_sphere(original.position, radius);
    chord = query_ray(ray, from, normalize(to - from), length(to - from));
    if (!probe_hit(chord) || chord.hit_shader != ray.hit_shader) return false;
    moved = {};
    build_surface_point(chord, moved);
    if (chord.front_side != ray.front_side) {
        moved.outgoing = -moved.outgoing;
        moved.geometric_normal = -moved.geometric_normal;
        moved.normal = -moved.normal;
    }
    weight = jump_weight(original.diffusion_color, widest);
    return true;
}

void start_photon(Ray& ray, std::int64_t number, std::uint32_t dimension, float ior,
                  const LightLink& link) {
    Ray first;
    first.cursor = {0.0f, 0.0f, static_cast<std::uint32_t>(number), dimension};
    first.origin = ray.origin;
    first.direction = ray.direction;
    first.power = ray.power;
    first.photon_link = &link;
    first.refraction = ior;
    first.hit_kind = HitKind::unset;
    first.source_kind = HitKind::unset;
    first.prior_scatter = Scatter::none;
    first.scatter = Scatter::none;
    first.thread = static_cast<std::uint8_t>(thread_number());
    first.photon = true;
    first.photon_caustic = true;
    ray = first;
}

} // namespace mh
