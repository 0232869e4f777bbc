// Small scenes made of records.
// SPDX-License-Identifier: MIT
#include "support/scene.h"

#include "geometry/objects.h"
#include "geometry/state.h"
#include "integrate/radiance.h"
#include "lights/state.h"
#include "math/at.h"
#include "math/random.h"
#include "math/roots.h"
#include "output/camera.h"
#include "output/state.h"
#include "run/state.h"
#include "shading/images.h"
#include "shading/shaders.h"
#include "shading/state.h"

#include <string>

namespace mh::test {
namespace {

Part& part(std::size_t object = 0) {
    return Objects[object].parts[0];
}

template<typename Face, std::size_t N>
Face face_of(const std::array<Vec3, N>& corners, int shader, Part& part) {
    Face face;
    for (std::size_t i = 0; i < N; ++i) {
        face.vertex[i] = static_cast<std::uint32_t>(part.positions.size());
        part.positions.push_back(corners[i]);
        radii(part).push_back(0.0f);
        uvs(part).push_back({});
    }
    face.shader = static_cast<std::uint32_t>(shader);
    return face;
}

} // namespace

Scene::Scene() {
    AddPart(at(Objects, AddObject()));
    Camera& camera = at(Cameras, AddCamera());
    camera.width = camera.height = 1;
    camera.sample = 1;
    camera.aovs[0].image.path.clear();
    RendererSettings.distance = 0.0f;
    SkyLight.color = {};
    SkyLight.photons = 0;
    GeometryLight.photons = 0;
}

SurfaceLayer& layer_of(int shader) {
    return at(Shaders, shader).layers[0];
}

ShaderElement& slot(int shader, Element element) {
    return at(layer_of(shader).elements, element);
}

int add_shader(const Vec3& lambertian) {
    const int shader = AddShader();
    Shader& record = at(Shaders, shader);
    record.name = "shader " + std::to_string(shader);
    AddSurfaceLayer(record);
    slot(shader, Element::lambertian).color = lambertian;
    return shader;
}

int add_glass(Material material) {
    const int glass = add_shader();
    slot(glass, Element::specular).color = splat(1.0f);
    slot(glass, Element::ior).color = splat(1.5f);
    layer_of(glass).material = material;
    return glass;
}

int add_emitter(const Vec3& radiance) {
    const int emitter = add_shader();
    slot(emitter, Element::emissive).color = radiance;
    return emitter;
}

int add_lamp(const Vec3& radiance, Sideness side) {
    const int lamp = add_emitter(radiance);
    layer_of(lamp).sideness = side;
    layer_of(lamp).virtual_light = true;
    return lamp;
}

void place_camera(int size, const Vec3& position, const Vec3& target, const Vec3& up,
                  float view_deg) {
    CameraPose pose;
    pose.position = position;
    pose.target = target;
    pose.up_vector = up;
    pose.field_of_view = view_deg;
    Cameras[0].width = Cameras[0].height = size;
    Cameras[0].poses = {pose, pose};
}

void add_quad(const std::array<Vec3, 4>& corners, int shader, std::size_t object) {
    part(object).tetragons.push_back(face_of<Tetragon>(corners, shader, part(object)));
}

void add_triangle(const std::array<Vec3, 3>& corners, int shader) {
    part().triangles.push_back(face_of<Triangle>(corners, shader, part()));
}

void add_room(const Vec3& low, const Vec3& high, int shader) {
    const auto corner = [&](int x, int y, int z) {
        return Vec3{x ? high.x : low.x, y ? high.y : low.y, z ? high.z : low.z};
    };
    const auto quad = [&](Vec3 a, Vec3 b, Vec3 c, Vec3 d) { add_quad({a, b, c, d}, shader); };
    quad(corner(0, 0, 0), corner(1, 0, 0), corner(1, 1, 0), corner(0, 1, 0));
    quad(corner(0, 0, 1), corner(0, 1, 1), corner(1, 1, 1), corner(1, 0, 1));
    quad(corner(0, 0, 0), corner(0, 1, 0), corner(0, 1, 1), corner(0, 0, 1));
    quad(corner(1, 0, 0), corner(1, 0, 1), corner(1, 1, 1), corner(1, 1, 0));
    quad(corner(0, 0, 0), corner(0, 0, 1), corner(1, 0, 1), corner(1, 0, 0));
    quad(corner(0, 1, 0), corner(1, 1, 0), corner(1, 1, 1), corner(0, 1, 1));
}

void add_level(const Vec2& low, const Vec2& high, float z, int shader, bool up) {
    const float first = up ? low.x : high.x, last = up ? high.x : low.x;
    add_quad({Vec3{first, low.y, z}, Vec3{last, low.y, z}, Vec3{last, high.y, z},
              Vec3{first, high.y, z}},
             shader);
}

void add_floor(float half_width, float z, int shader, bool up) {
    add_level({-half_width, -half_width}, {half_width, half_width}, z, shader, up);
}

void add_ball(const Vec3& center, float radius, int shader) {
    Part& balls = part();
    balls.particles.push_back(static_cast<std::uint32_t>(balls.positions.size()));
    balls.positions.push_back(center);
    radii(balls).push_back(radius);
    uvs(balls).push_back({});
    balls.shader_id = static_cast<std::uint32_t>(shader);
    balls.shader_name = at(Shaders, shader).name;
}

int add_fibre(std::size_t object) {
    const int shader = add_shader();
    slot(shader, Element::glossy).color = splat(1.0f);
    slot(shader, Element::roughness).color = {0.1f, 0.0f, 0.0f}; // three degrees
    slot(shader, Element::ior).color = splat(1.55f);
    Part& fibres = part(object);
    fibres.shader_id = static_cast<std::uint32_t>(shader);
    fibres.shader_name = at(Shaders, shader).name;
    fibres.cylinders = {0};
    fibres.positions = {{-2.0f, 0.0f, 0.0f}, {2.0f, 0.0f, 0.0f}};
    radii(fibres).assign(2, 0.1f);
    return shader;
}

void set_white_sky(int samples, int bounces) {
    SkyLight.color = splat(1.0f);
    SkyLight.sample = samples;
    RendererSettings.sample = bounces;
    if (samples == 0) return;
    AllocateImage(SkyLight.image, 1, 1, 3, 32, false);
    set_texel(SkyLight.image, 0, splat(1.0f));
    SkyLight.image.loaded = true;
}

Ray camera_ray(const Vec3& origin, const Vec3& target) {
    const Camera& camera = *ActiveCamera();
    Ray ray;
    ray.origin = origin;
    ray.direction = normalize(target - origin);
    ray.refraction = camera.ior;
    ray.sample_divisor = camera.sample;
    return ray;
}

Vec3 seen_along(const Vec3& origin, const Vec3& target) {
    Ray ray = camera_ray(origin, target);
    return radiance(ray);
}

Vec3 seen_by_chance(const Vec3& origin, const Vec3& target) {
    Ray ray = camera_ray(origin, target);
    ray.cursor.rotation_u = random_unit();
    ray.cursor.rotation_v = random_unit();
    return radiance(ray);
}

} // namespace mh::test
