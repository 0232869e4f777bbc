// Scenes and rays on our side of the benchmarks.
// SPDX-License-Identifier: MIT
#include "rays.h"

#include "accel/bounds.h"
#include "accel/prepare.h"
#include "accel/state.h"
#include "accel/tree.h"
#include "accel/walk.h"
#include "geometry/objects.h"
#include "geometry/state.h"
#include "math/at.h"
#include "math/clock.h"
#include "math/constants.h"
#include "math/faces.h"
#include "math/frame.h"
#include "math/roots.h"
#include "math/sampling.h"
#include "run/state.h"

#include <random>

namespace mh::bench {

namespace {

void add_mesh(Object& object, const Mesh& mesh) {
    AddPart(object);
    Part& part = object.parts.back();
    part.positions = mesh.positions;
    for (const auto& vertices : mesh.triangles)
        part.triangles.push_back({vertices, 0});
}

Ray ray_of(const BenchRay& ray) {
    Ray query;
    query.thread = bench_thread;
    query.origin = ray.origin;
    query.direction = ray.direction;
    return query;
}

Vec3 hit_normal(const Ray& ray) {
    if (ray.hit_part->triangles.empty()) return -ray.direction; // ribbons face the ray
    const auto& v = at(ray.hit_part->triangles, ray.hit_primitive).vertex;
    const std::vector<Vec3>& p = ray.hit_part->positions;
    Vec3 n = triangle_normal(p[v[0]], p[v[1]], p[v[2]]);
    if (ray.hit_instance_level == 1) n = normalize(ThreadStates[0].instance_normal_matrices[0] * n);
    return dot(n, ray.direction) > 0.0f ? -n : n;
}

BenchRay primary_ray(const Scene& scene, int side, int x, int y) {
    const Vec3 forward = normalize(scene.look_at - scene.eye);
    const Vec3 right = normalize(cross(forward, {0, 1, 0})), up = cross(right, forward);
    const float scale = 1.0f / static_cast<float>(side); // a field of view of 53 degrees
    const float u = (static_cast<float>(x) + 0.5f) * scale - 0.5f;
    const float v = 0.5f - (static_cast<float>(y) + 0.5f) * scale;
    return {scene.eye, normalize(forward + u * right + v * up), kFar};
}

} // namespace

void MakeTree(std::size_t number) {
    Object& object = Objects[number];
    Tree& tree = Trees[number];
    for (Instance& instance : object.instances)
        UpdateInstance(instance);
    Build(object, tree);
    Update(object, tree);
    SATOrder(tree);
    tree.binary_nodes = {};
    tree.binary_references = {};
    PrepareWalk(object, tree);
}

double LoadScene(const Scene& scene) {
    Objects.clear();
    Objects.resize(scene.instances.empty() ? 1 : 2);
    Trees = std::vector<Tree>(Objects.size());
    RootObjectIndex = 0;
    Object& mesh = Objects.back();
    add_mesh(mesh, scene.mesh);
    const std::int64_t start = microseconds_now();
    MakeTree(Objects.size() - 1);
    if (scene.instances.empty()) return static_cast<double>(seconds_since(start));
    for (const Mat4& matrix : scene.instances) {
        Instance& instance = Objects[0].instances.emplace_back();
        instance.matrix = matrix;
        instance.object = 1;
    }
    MakeTree(0);
    return static_cast<double>(seconds_since(start));
}

RaySets MakeRays(const Scene& scene, int side) {
    RaySets rays;
    std::mt19937 bits(99);
    const auto unit = [&] { return static_cast<float>(bits() >> 8) * 0x1p-24f; };
    for (int y = 0; y < side; ++y)
        for (int x = 0; x < side; ++x) {
            rays.primary.push_back(primary_ray(scene, side, x, y));
            const Ray hit = trace(rays.primary.back());
            if (hit.hit_part == nullptr) continue;
            const Vec3 normal = hit_normal(hit);
            const Vec3 point = hit.origin + hit.distance * hit.direction + scene.lift * normal;
            Vec3 tangent, bitangent;
            tangent_frame(normal, tangent, bitangent);
            const float u = unit();
            const float v = unit();
            const Vec3 local = sample_cosine_local({u, v});
            rays.bounce.push_back(
                {point, normalize(from_frame(local, tangent, bitangent, normal)), kFar});
            const Vec3 to_light = scene.light - point;
            rays.shadow.push_back({point, normalize(to_light), length(to_light)});
        }
    return rays;
}

Ray trace(const BenchRay& ray) {
    Ray query = ray_of(ray);
    closest_hit(query);
    return query;
}

Ray trace_shadow(const BenchRay& ray) {
    Ray query = ray_of(ray);
    query.distance = ray.distance;
    shadow_query(query);
    return query;
}

float our_closest(const BenchRay& ray) {
    Ray query = ray_of(ray);
    return closest_hit(query) ? query.distance : kFar;
}

bool our_occluded(const BenchRay& ray) {
    return trace_shadow(ray).weight.x == 0.0f;
}

} // namespace mh::bench
