// Points that are lit.
// SPDX-License-Identifier: MIT
#include "light_scene.h"

#include "shading/hair_table.h"
#include "shading/scattering.h"
#include "shading/state.h"

#include <array>
#include <cmath>

namespace mh::test {

LitPoint::LitPoint() {
    ray.hit_kind = HitKind::tetragon;
    ray.hit_primitive = 1000;
    ray.front_side = true;
    point.tangent = {1.0f, 0.0f, 0.0f};
    point.bitangent = {0.0f, 1.0f, 0.0f};
    point.normal = point.geometric_normal = point.outgoing = {0.0f, 0.0f, 1.0f};
    point.lambertian_color = splat(1.0f);
    point.lambertian_active = true;
}

std::vector<Responder> all_responders() {
    HairTable& table = Shaders[0].hair_table;
    BuildHairTable(table);
    for (Image* lobe : {&table.r_image, &table.trt_image})
        lobe->floats.assign(lobe->floats.size(), 0.0f);
    LitPoint up, below, shiny, hair, shiny_hair;
    below.point.normal = below.point.geometric_normal = {0.0f, 0.0f, -1.0f};
    below.point.transmissive_active = true;
    shiny.point.glossy_active = shiny_hair.point.glossy_active = true;
    shiny.point.reflectance = 0.75f;
    shiny.point.roughness_u = shiny.point.roughness_v = 0.5f;
    hair.ray.hit_kind = shiny_hair.ray.hit_kind = HitKind::hair;
    for (LitPoint* lit : {&below, &shiny, &shiny_hair})
        lit->point.lambertian_active = false;
    return {{"lambertian", up, Scatter::lambertian},
            {"transmissive", below, Scatter::transmissive},
            {"glossy", shiny, Scatter::glossy_reflection},
            {"hair", hair, Scatter::lambertian},
            {"shiny hair", shiny_hair, Scatter::glossy_reflection}};
}

float response(const Responder& responder, const Vec3& direction) {
    const SurfacePoint& point = responder.lit.point;
    if (responder.lit.ray.hit_kind != HitKind::hair) {
        const float cosine = std::fabs(dot(direction, point.normal));
        const bool glossy = responder.scatter == Scatter::glossy_reflection;
        return cosine
               * (glossy ? 4.0f * point.reflectance * ward_lobe(point.outgoing, direction, point)
                         : 1.0f / kPi);
    }
    if (responder.scatter == Scatter::lambertian)
        return hair_diffuse(point.outgoing, direction, point);
    std::array<Vec3, 3> lobes;
    Vec3 density;
    hair_glossy(Shaders[0].hair_table, point.outgoing, direction, point, lobes, density);
    return lobes[1].x;
}

float total(const LightSplit& split) {
    return split.to_lambertian.x + split.to_transmissive.x + split.to_glossy.x;
}

Ray bounced_ray(const LitPoint& lit, const Vec3& direction, Scatter scatter, int n) {
    Ray ray;
    ray.direction = direction;
    ray.source_point = &lit.point;
    ray.source_shader = lit.ray.hit_shader;
    ray.source_kind = lit.ray.hit_kind;
    ray.source_primitive = lit.ray.hit_primitive;
    ray.scatter = scatter;
    ray.hair_lobe = 1;
    ray.depth = ray.diffuse_bounces = static_cast<std::uint8_t>(n);
    return ray;
}

} // namespace mh::test
