// Directions of the four layers and the rays spawned along them.
// SPDX-License-Identifier: MIT
#include "integrate/children.h"

#include "hit/surface_builder.h"
#include "integrate/run_context.h"
#include "math/frame.h"
#include "math/sampling.h"
#include "run/estimator.h"
#include "shading/microfacet.h"

#include <algorithm>
#include <cmath>

namespace mh {

namespace {

// Products of relative indices drift by a few roundings; closer than this to a known index they
// mean that one.
constexpr float kIndexRounding = 1e-5f;

float settle_index(float index) {
    if (std::fabs(index - 1.0f) < kIndexRounding) return 1.0f;
    const float start = camera_ior();
    return std::fabs(index - start) < kIndexRounding ? start : index;
}

void count_bounce(Ray& child, Scatter scatter) {
    switch (scatter) {
    case Scatter::none: return;
    case Scatter::lambertian:
    case Scatter::transmissive: ++child.diffuse_bounces; return;
    case Scatter::glossy_reflection:
    case Scatter::glossy_refraction: ++child.glossy_bounces; return;
    case Scatter::specular_reflection:
    case Scatter::specular_refraction: ++child.specular_bounces; return;
    }
    std::abort();
}

bool is_behind(Scatter scatter) {
    return scatter == Scatter::transmissive || scatter == Scatter::glossy_refraction
           || scatter == Scatter::specular_refraction;
}

// Where a ray leaves the surface. Rounding puts the position on either side of its face. That face
// is skipped by its number; but near its edge a position behind it lies behind the neighbour too,
// which then cannot be hit. So far from the origin, where this is no longer rare, the ray starts as
// far inside its side as the position may be off [Wachter19], [Pharr16] ch. 3.9.
Vec3 origin_of_child(const Ray& ray, const SurfacePoint& point, Scatter scatter) {
    constexpr float kRoundings = 0x1p-22f; // of the largest coordinate or the distance: 4 half ulps
    constexpr float kNear = 1e-5f;         // ten times the shortest distance of a hit
    if (ray.hit_kind != HitKind::triangle && ray.hit_kind != HitKind::tetragon)
        return point.position;
    const Vec3& p = point.position;
    const float reach = std::max({std::fabs(p.x), std::fabs(p.y), std::fabs(p.z), ray.distance});
    const float bound = kRoundings * reach;
    if (!(bound > kNear)) return p;
    return p + (is_behind(scatter) ? -bound : bound) * point.geometric_normal;
}

// At a facet of GGX: its reflectance and what other facets catch are part of the shares.
FacetSplit split_at_visible_facet(const Ray& ray, const SurfacePoint& point, const Vec2& pair) {
    const bool solid = point.refraction_kind == Material::solid;
    const Vec3 facet = sample_visible_facet(point, pair.x, pair.y);
    const float e = -dot(facet, ray.direction);
    const Vec3 reflectance = facet_reflectance(point, e);
    FacetSplit split = split_light(ray.direction, point, facet, e, solid);
    split.reflects = split.reflects && dot(split.reflected, point.normal) > 0.0f;
    split.reflected_share = 1.0f;
    if (split.reflects)
        split.reflected_color = unmasked_share(point, split.reflected) * reflectance;
    if (split.refracts)
        split.refracted_share = unmasked_share(point, split.refracted) * (1.0f - reflectance.x);
    return split;
}

} // namespace

Ray spawn_child(const Ray& ray, const SurfacePoint& point, Scatter scatter) {
    Ray child;
    child.cursor = ray.cursor;
    child.origin = origin_of_child(ray, point, scatter);
    child.power = ray.power;
    child.source_point = &point;
    child.refraction = ray.refraction;
    child.sample_divisor = ray.sample_divisor;
    child.source_shader = ray.hit_shader;
    child.source_primitive = ray.hit_primitive;
    child.source_kind = ray.hit_kind;
    child.hit_kind = HitKind::unset;
    child.hair_lobe = scatter == Scatter::lambertian ? kHairLobeOfDiffuse : std::uint8_t{0};
    child.scatter = scatter;
    child.last_spread = is_specular(scatter) ? ray.last_spread : scatter;
    child.prior_scatter = ray.scatter == scatter ? ray.prior_scatter : ray.scatter;
    child.thread = ray.thread;
    child.depth = static_cast<std::uint8_t>(ray.depth + 1);
    child.diffuse_bounces = ray.diffuse_bounces;
    child.glossy_bounces = ray.glossy_bounces;
    child.specular_bounces = ray.specular_bounces;
    count_bounce(child, scatter);
    if (!is_specular(scatter)) child.cursor.dimension += 2;
    if (ray.cursor.path != 0) {
        child.cursor.path = path_of_bounce(ray.cursor, static_cast<std::uint32_t>(scatter));
        child.cursor.spread = static_cast<std::uint8_t>(std::min(spread_bounces(child), kEvenHits));
    }
    child.photon = ray.photon;
    child.photon_caustic = ray.photon_caustic;
    return child;
}

Vec2 bounce_pair(const SampleCursor& cursor, Scatter scatter) {
    if (cursor.path != 0)
        return draw_pair(cursor, numbered(Draw::bounce, static_cast<std::uint32_t>(scatter)));
    SampleCursor read = cursor;
    return next_pair(read);
}

bool sample_diffuse(const SampleCursor& cursor, const SurfacePoint& point, Scatter scatter,
                    Vec3& direction) {
    Vec3 local = sample_cosine_local(bounce_pair(cursor, scatter));
    const float side = scatter == Scatter::transmissive ? -1.0f : 1.0f;
    local.z *= side;
    direction = from_frame(local, point.tangent, point.bitangent, point.normal);
    return side * dot(direction, point.geometric_normal) > 0.0f;
}

FacetSplit split_at_facet(const Ray& ray, const SurfacePoint& point) {
    const bool solid = point.refraction_kind == Material::solid;
    const auto split_at = [&](const Vec3& facet) {
        return split_light(ray.direction, point, facet, -dot(facet, ray.direction), solid);
    };
    const Vec2 pair = bounce_pair(ray.cursor, Scatter::glossy_reflection);
    if (has_facets(point)) return split_at_visible_facet(ray, point, pair);
    FacetSplit split = split_at(sample_ward_half_vector(pair.x, pair.y, point));
    if (!is_exact()) return split;
    for (int i = 1; i < kMostFacets && !keeps_facet(point, split); ++i)
        split = split_at(random_facet(point));
    return split;
}

FacetSplit split_at_surface(const Ray& ray, const SurfacePoint& point) {
    const bool refractive = point.refraction_kind != Material::opaque;
    return split_light(ray.direction, point, point.normal, point.cos_outgoing, refractive);
}

Ray refracted_child(const Ray& ray, const SurfacePoint& point, Scatter scatter,
                    const FacetSplit& split, const Vec3& w) {
    Ray child = spawn_child(ray, point, scatter);
    child.direction = split.refracted;
    leave_surface(child, point);
    child.weight = split.refracted_share * w;
    child.refraction = settle_index(ray.refraction * point.eta);
    if (point.refraction_kind != Material::thin || is_exact()) return child;
    child.scatter = ray.scatter;
    child.prior_scatter = ray.prior_scatter;
    child.source_point = ray.source_point;
    return child;
}

Ray reflected_child(const Ray& ray, const SurfacePoint& point, Scatter scatter,
                    const FacetSplit& split, const Vec3& w) {
    Ray child = spawn_child(ray, point, scatter);
    child.direction = split.reflected;
    leave_surface(child, point);
    child.weight = split.reflected_share * split.reflected_color * w;
    return child;
}

} // namespace mh
