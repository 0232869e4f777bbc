// Small scenes for the tests of lights.
// SPDX-License-Identifier: MIT
#include "light_scene.h"

#include "accel/scene_assembly.h"
#include "geometry/objects.h"
#include "output/camera.h"
#include "shading/shaders.h"

namespace mh::test {

LightScene::LightScene() {
    AddCamera();
    Cameras[0].width = Cameras[0].height = 4;
}

int LightScene::add_emitter(const std::string& name, const Vec3& emission, bool virtual_light) {
    const int index = FindOrAddShader(name);
    Shader& shader = Shaders[static_cast<std::size_t>(index)];
    SurfaceLayer& layer = shader.layers[static_cast<std::size_t>(AddSurfaceLayer(shader))];
    layer.elements[static_cast<std::size_t>(Element::emissive)].color = emission;
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
    ray.origin = {0.0f, 0.0f, 1.0f};
    ray.direction = {0.0f, 0.0f, -1.0f};
    ray.distance = 1.0f;
    ray.hit_kind = HitKind::tetragon;
    ray.hit_primitive = 1000;
    ray.front_side = true;
    point.tangent = {1.0f, 0.0f, 0.0f};
    point.bitangent = {0.0f, 1.0f, 0.0f};
    point.normal = point.geometric_normal = point.outgoing = {0.0f, 0.0f, 1.0f};
    point.lambertian_color = {1.0f, 1.0f, 1.0f};
    point.lambertian_active = true;
    point.cos_outgoing = 1.0f;
}

Ray bounced_ray(const LitPoint& lit, const Vec3& direction, Scatter scatter, int n) {
    Ray ray;
    ray.origin = lit.point.position;
    ray.direction = direction;
    ray.source_point = &lit.point;
    ray.source_shader = lit.ray.hit_shader;
    ray.source_kind = lit.ray.hit_kind;
    ray.source_primitive = lit.ray.hit_primitive;
    ray.scatter = scatter;
    ray.depth = ray.diffuse_bounces = static_cast<std::uint8_t>(n);
    return ray;
}

} // namespace mh::test
