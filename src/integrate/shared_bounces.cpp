// Sharing of bounces between pixels.
// SPDX-License-Identifier: MIT
#include "integrate/shared_bounces.h"

#include "accel/walk.h"
#include "hit/surface_builder.h"
#include "integrate/state.h"
#include "lights/state.h"
#include "math/roots.h"
#include "run/estimator.h"
#include "shading/media.h"

#include <algorithm>

namespace mh {

namespace {

SharedBounce* noted(const Ray& ray) {
    return IntegrateState.bounce_of_thread[ray.thread].bounce;
}

template<typename Lights>
bool have_images(const Lights& lights) {
    for (const auto& light : lights)
        if (!light.aov_list.empty()) return true;
    return false;
}

// Geometric normals replace shading normals that face away from the viewer or would mirror it below
// the surface; there the light that leaves depends on the viewer.
bool keeps_normal(const SharedBounce& from, const Vec3& outgoing) {
    if (from.end_normal == from.end_geometric_normal) return true;
    const float cosine = dot(outgoing, from.end_normal);
    const Vec3 mirrored = 2.0f * cosine * from.end_normal - outgoing;
    return cosine > 0.0f && dot(mirrored, from.end_geometric_normal) >= 0.0f;
}

inline void note_end(const Ray& ray, const FaceEnd& end, const Vec3& shading_normal,
                     const Vec3& light, SharedBounce& bounce) {
    bounce.end = end.position;
    bounce.end_normal = shading_normal;
    bounce.end_geometric_normal = end.normal;
    bounce.light = light;
    bounce.density = dot(ray.direction, ray.source_point->normal) * -dot(ray.direction, end.normal)
                     / (ray.distance * ray.distance);
}

// How dense the diffuse bounces of a first hit are at the end of another's bounce, per area there,
// times pi.
float density_at_end(const SharedBounce& hit, const SharedBounce& from) {
    const Vec3 v = from.end - hit.origin;
    const float square = dot(v, v);
    const float cosine = dot(v, hit.normal), end_cosine = -dot(v, from.end_geometric_normal);
    const bool sees = cosine > 0.0f && end_cosine > 0.0f && dot(v, hit.geometric_normal) > 0.0f;
    if (!sees || !(square > 0.0f) || !keeps_normal(from, -v)) return 0.0f;
    return cosine * end_cosine / (square * square);
}

bool sees_end(const SharedBounce& hit, const SharedBounce& from) {
    constexpr float kEndsBefore = 1.0f - 4e-5f; // so that the surface does not hide itself
    const Vec3 v = from.end - hit.origin;
    const float distance = length(v);
    Ray shadow;
    shadow.origin = hit.origin;
    shadow.direction = v / distance;
    shadow.distance = kEndsBefore * distance;
    shadow.hit_kind = shadow.source_kind = HitKind::unset;
    shadow.thread = hit.thread;
    shadow.depth = 1;
    shadow_query(shadow);
    return any_above(shadow.weight, 0.0f);
}

// The balance heuristic [Veach95] between the bounces of both pixels, for what the first one's
// found. Where one of them hardly ever ends, sharing is not worth a shadow ray, whichever pixel
// found it.
void give(const SharedBounce& from, const SharedBounce& to, Vec3& change_of_giver,
          Vec3& change_of_taker) {
    constexpr float kLeastShare = 0.25f;
    if (!any_above(from.light, 0.0f)) return;
    const float taken = density_at_end(to, from);
    const float share = taken / (from.density + taken);
    if (!(std::min(share, 1.0f - share) > kLeastShare) || !sees_end(to, from)) return;
    change_of_giver -= share * from.light * from.color;
    change_of_taker += share * from.light * to.color;
}

} // namespace

bool can_share_bounces() {
    if (!is_exact() || !is_clear(SkyLight.medium)) return false;
    const bool images = !GeometryLight.aov_list.empty() || !SkyLight.aov_list.empty();
    return !images && !have_images(PointLights) && !have_images(ParallelLights);
}

void note_bounces_in(std::uint8_t thread, SharedBounce* bounce) {
    IntegrateState.bounce_of_thread[thread].bounce = bounce;
}

void note_first_hit(const Ray& ray, const SurfacePoint& point) {
    SharedBounce* bounce = noted(ray);
    if (bounce == nullptr || !point.lambertian_active || point.diffusion_active) return;
    if (point.diffuse_model != DiffuseModel::lambert) return;
    if (!is_face(ray.hit_kind) || point.rays.bounces != 1) return;
    bounce->begins = true;
    bounce->thread = ray.thread;
    bounce->origin = point.position + point.rounding * point.geometric_normal;
    bounce->normal = point.normal;
    bounce->geometric_normal = point.geometric_normal;
    bounce->color = point.lambertian_color * point.transmittance;
}

void note_bounce_end(const Ray& ray, const SurfacePoint& point, const Vec3& light) {
    SharedBounce* bounce = noted(ray);
    if (bounce == nullptr || ray.scatter != Scatter::lambertian || !is_face(ray.hit_kind)) return;
    if (point.layer->has_fresnel || point.diffusion_active || point.normal_replaced) return;
    if (point.layer->has_models) return;
    const Vec3 end = point.position + point.rounding * point.geometric_normal;
    note_end(ray, {end, point.geometric_normal}, point.normal, light, *bounce);
}

void note_bare_end(const Ray& ray, const Vec3& light) {
    SharedBounce* bounce = noted(ray);
    if (bounce == nullptr || ray.scatter != Scatter::lambertian) return;
    const FaceEnd end = end_on_face(ray);
    note_end(ray, end, end.normal, light, *bounce);
}

void share_bounces(const SharedBounce& a, const SharedBounce& b, Vec3& change_of_a,
                   Vec3& change_of_b) {
    if (!a.begins || !b.begins) return;
    give(a, b, change_of_a, change_of_b);
    give(b, a, change_of_b, change_of_a);
}

} // namespace mh
