// Counts paths that leave a closed sphere: its faces share their vertices, so none should. Further
// rays are aimed at its edges. The sphere stands at growing distances from the origin, where
// positions have fewer digits. Embree's robust mode is asked for the same bounces; it knows of no
// face that a ray has left.
// SPDX-License-Identifier: MIT
#ifdef MOONHARE_EMBREE
#include "embree_side.h"
#endif
#include "accel/walk.h"
#include "frame/phases.h"
#include "hit/surface_builder.h"
#include "integrate/children.h"
#include "math/constants.h"
#include "math/frame.h"
#include "math/roots.h"
#include "math/sampling.h"
#include "options.h"
#include "rays.h"
#include "shading/shaders.h"

#include <array>
#include <cstdio>
#include <iostream>
#include <map>
#include <random>

namespace {

using mh::Vec3;
using mh::bench::BenchRay;

constexpr int kBouncesOfPath = 6;
// Share of the bounces that may leak, the second far from the origin. No other ray may.
constexpr double kMost = 1e-6, kMostFar = 1e-4;
constexpr float kFarOffset = 10000.0f;

std::mt19937 bits(7);

float draw() {
    return static_cast<float>(bits() >> 8) * 0x1p-24f;
}

// Twenty faces, each halved along its edges so many times.
mh::bench::Mesh closed_sphere(int levels) {
    constexpr float kGolden = 1.618034f;
    mh::bench::Mesh mesh;
    for (const float a : {-1.0f, 1.0f})
        for (const float b : {-kGolden, kGolden})
            for (const Vec3& p : {Vec3{0, a, b}, Vec3{a, b, 0}, Vec3{b, 0, a}})
                mesh.positions.push_back(mh::normalize(p));
    for (std::uint32_t i = 0; i < 12; ++i)
        for (std::uint32_t j = i + 1; j < 12; ++j)
            for (std::uint32_t k = j + 1; k < 12; ++k) {
                const std::vector<Vec3>& p = mesh.positions;
                constexpr float kEdge = 1.2f; // neighbours are 1.05 apart, others 1.7 or more
                if (length(p[i] - p[j]) < kEdge && length(p[j] - p[k]) < kEdge
                    && length(p[k] - p[i]) < kEdge)
                    mesh.triangles.push_back({i, j, k});
            }
    for (; levels > 0; --levels) {
        std::map<std::pair<std::uint32_t, std::uint32_t>, std::uint32_t> middles;
        const auto middle = [&](std::uint32_t a, std::uint32_t b) {
            const auto next = static_cast<std::uint32_t>(mesh.positions.size());
            const auto [found, is_new] = middles.emplace(std::minmax(a, b), next);
            if (is_new)
                mesh.positions.push_back(mh::normalize(mesh.positions[a] + mesh.positions[b]));
            return found->second;
        };
        std::vector<std::array<std::uint32_t, 3>> smaller;
        for (const auto& [a, b, c] : mesh.triangles) {
            const std::uint32_t ab = middle(a, b), bc = middle(b, c), ca = middle(c, a);
            smaller.insert(smaller.end(), {{a, ab, ca}, {ab, b, bc}, {ca, bc, c}, {ab, bc, ca}});
        }
        mesh.triangles = std::move(smaller);
    }
    return mesh;
}

struct Counts {
    std::int64_t primary = 0, primary_leaks = 0, bounces = 0, leaks = 0, embree_leaks = 0;
    std::int64_t at_edges = 0, edge_leaks = 0;
};

Vec3 random_inner_point(const Vec3& center) {
    return center + Vec3{draw() - 0.5f, draw() - 0.5f, draw() - 0.5f};
}

Vec3 cosine_direction(const Vec3& normal) {
    Vec3 tangent, bitangent;
    mh::tangent_frame(normal, tangent, bitangent);
    const float u = draw();
    const float v = draw();
    const Vec3 local = mh::sample_cosine_local({u, v});
    return mh::normalize(mh::from_frame(local, tangent, bitangent, normal));
}

template<typename Misses>
void trace_path(const Vec3& center, const Misses& embree_misses, Counts& counts) {
    std::array<mh::SurfacePoint, kBouncesOfPath> points;
    mh::Ray ray;
    ray.origin = random_inner_point(center);
    ray.direction = mh::normalize(Vec3{draw() - 0.5f, draw() - 0.5f, draw() - 0.5f});
    ++counts.primary;
    if (!mh::closest_hit(ray)) {
        ++counts.primary_leaks;
        return;
    }
    for (mh::SurfacePoint& point : points) {
        mh::build_surface_point(ray, point);
        mh::Ray child = mh::spawn_child(ray, point, mh::Scatter::lambertian);
        child.direction = cosine_direction(point.geometric_normal);
        ++counts.bounces;
        if (embree_misses({child.origin, child.direction, mh::kFar})) ++counts.embree_leaks;
        if (!mh::closest_hit(child)) {
            ++counts.leaks;
            return;
        }
        ray = child;
    }
}

// A ray at a point of an edge, or at a corner.
void aim_at_edge(const mh::bench::Mesh& mesh, const Vec3& center, Counts& counts) {
    const std::array<std::uint32_t, 3>& face = mesh.triangles[bits() % mesh.triangles.size()];
    const Vec3& a = mesh.positions[face[0]];
    const Vec3& b = mesh.positions[face[1]];
    const float along = bits() % 8 == 0 ? 0.0f : draw();
    mh::Ray ray;
    ray.origin = random_inner_point(center);
    ray.direction = mh::normalize(a + along * (b - a) - ray.origin);
    ++counts.at_edges;
    if (!mh::closest_hit(ray)) ++counts.edge_leaks;
}

Counts count_leaks(const mh::bench::Mesh& unit, const Vec3& center, std::int64_t bounces,
                   std::int64_t rays) {
    mh::bench::Scene scene;
    scene.mesh = unit;
    for (Vec3& p : scene.mesh.positions)
        p = p + center;
    std::cout.setstate(std::ios::failbit); // the report
    mh::bench::LoadScene(scene);
    std::cout.clear();
    Counts counts;
#ifdef MOONHARE_EMBREE
    mh::bench::EmbreeScene embree = mh::bench::MakeRobustEmbreeScene(scene);
    const auto embree_misses = [&](const BenchRay& ray) {
        return mh::bench::embree_closest(embree, ray) >= mh::kFar;
    };
#else
    const auto embree_misses = [](const BenchRay&) { return false; };
#endif
    while (counts.bounces < bounces)
        trace_path(center, embree_misses, counts);
    while (counts.at_edges < rays)
        aim_at_edge(scene.mesh, center, counts);
#ifdef MOONHARE_EMBREE
    mh::bench::FreeEmbreeScene(embree);
#endif
    return counts;
}

double share(std::int64_t part, std::int64_t whole) {
    return static_cast<double>(part) / static_cast<double>(whole);
}

} // namespace

int main(int argc, char** argv) {
    constexpr int kLevels = 5; // 20,480 faces
    int bounces = 10000000, rays = 10000000;
    const mh::bench::Option options[] = {
        {"BOUNCES", "At each distance, of paths within the sphere", &bounces},
        {"RAYS", "At each distance, aimed at edges and corners", &rays},
    };
    if (const auto status = mh::bench::ReadOptions(argc, argv, options)) return *status;
    const mh::bench::Mesh sphere = closed_sphere(kLevels);
    mh::Startup();
    mh::InitializeShaders();
    bool good = true;
    std::printf("offset   leaks of rays at edges       leaks of primary rays"
                "       leaks of bounces   Embree, robust\n");
    for (const float offset : {0.0f, 100.0f, 1000.0f, kFarOffset}) {
        const Counts c = count_leaks(sphere, {offset, offset, offset}, bounces, rays);
        std::printf("%6.0f %11lld of %-11lld %8lld of %-10lld %8lld of %-11lld %8lld\n",
                    static_cast<double>(offset), static_cast<long long>(c.edge_leaks),
                    static_cast<long long>(c.at_edges), static_cast<long long>(c.primary_leaks),
                    static_cast<long long>(c.primary), static_cast<long long>(c.leaks),
                    static_cast<long long>(c.bounces), static_cast<long long>(c.embree_leaks));
        good = good && c.edge_leaks == 0 && c.primary_leaks == 0
               && share(c.leaks, c.bounces) <= (offset < kFarOffset ? kMost : kMostFar);
    }
    mh::Shutdown();
    return good ? 0 : 1;
}
