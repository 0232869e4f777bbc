// Small scenes for the tests of lights.
// SPDX-License-Identifier: MIT
#include "light_scene.h"

#include "accel/scene_assembly.h"
#include "geometry/objects.h"
#include "output/camera.h"
#include "shading/hair_table.h"
#include "shading/scattering.h"
#include "shading/shaders.h"

#include <array>
#include <cmath>

namespace mh::test {

LightScene::LightScene() {
    AddCamera();
    Cameras[0].width = Cameras[0].height = 4;
    Cameras[0].aovs[0].image.path.clear(); // no file
}

int LightScene::add_emitter(const Vec3& emission, Sideness side, bool virtual_light) {
    const int index = FindOrAddShader("lamp");
    Shader& shader = Shaders[static_cast<std::size_t>(index)];
    SurfaceLayer& layer = shader.layers[static_cast<std::size_t>(AddSurfaceLayer(shader))];
    layer.elements[static_cast<std::size_t>(Element::emissive)].color = emission;
    layer.sideness = side;
    layer.virtual_light = virtual_light;
    return index;
}

void LightScene::add_square(int object, const Vec3& center, float r, bool up, int shader) {
    Object& target = Objects[static_cast<std::size_t>(object)];
    Part& part = target.parts[static_cast<std::size_t>(AddPart(target))];
    const float s = up ? r : -r;
    part.positions = {center + Vec3{-s, -r, 0.0f}, center + Vec3{s, -r, 0.0f},
                      center + Vec3{s, r, 0.0f}, center + Vec3{-s, r, 0.0f}};
    part.tetragons = {{{0, 1, 2, 3}, static_cast<std::uint32_t>(shader)}};
}

void LightScene::assemble(int frames) {
    Cameras[0].sample = frames;
    InitializeCameras();
    InitializeShaders();
    AssembleScene();
}

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
    shiny.point.reflectance = 1.0f;
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
        return cosine * (glossy ? 4.0f * ward_lobe(point.outgoing, direction, point) : 1.0f / kPi);
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
