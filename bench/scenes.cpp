// Meshes that the benchmarks generate.
// SPDX-License-Identifier: MIT
#include "scenes.h"

#include "math/constants.h"
#include "math/frame.h"
#include "math/roots.h"

#include <cmath>
#include <random>

namespace mh::bench {

namespace {

std::uint32_t add_vertex(Mesh& mesh, const Vec3& p) {
    mesh.positions.push_back(p);
    return static_cast<std::uint32_t>(mesh.positions.size() - 1);
}

void add_quad(Mesh& mesh, const Vec3& p0, const Vec3& p1, const Vec3& p2, const Vec3& p3) {
    const std::uint32_t a = add_vertex(mesh, p0), b = add_vertex(mesh, p1);
    const std::uint32_t c = add_vertex(mesh, p2), d = add_vertex(mesh, p3);
    mesh.triangles.push_back({a, b, c});
    mesh.triangles.push_back({a, c, d});
}

// Five faces of a box turned about the vertical axis: all but the bottom.
void add_block(Mesh& mesh, const Vec3& base, const Vec3& half, float angle_rad) {
    const Vec3 u = {half.x * std::cos(angle_rad), 0.0f, half.x * std::sin(angle_rad)};
    const Vec3 w = {-half.z * std::sin(angle_rad), 0.0f, half.z * std::cos(angle_rad)};
    const Vec3 up = {0.0f, 2.0f * half.y, 0.0f};
    const std::array<Vec3, 4> p = {base - u - w, base + u - w, base + u + w, base - u + w};
    for (std::size_t i = 0; i < 4; ++i) {
        const Vec3 &a = p[i], &b = p[(i + 1) % 4];
        add_quad(mesh, a, b, b + up, a + up);
    }
    add_quad(mesh, p[0] + up, p[1] + up, p[2] + up, p[3] + up);
}

// A grid of n by n cells, the point of a vertex from its two coordinates in 0..1.
template<typename Point>
Mesh grid(std::uint32_t n, Point point) {
    Mesh mesh;
    for (std::uint32_t j = 0; j <= n; ++j)
        for (std::uint32_t i = 0; i <= n; ++i)
            mesh.positions.push_back(point(static_cast<float>(i) / static_cast<float>(n),
                                           static_cast<float>(j) / static_cast<float>(n)));
    for (std::uint32_t j = 0; j < n; ++j)
        for (std::uint32_t i = 0; i < n; ++i) {
            const std::uint32_t a = j * (n + 1) + i, b = a + 1, c = a + n + 1, d = c + 1;
            mesh.triangles.push_back({a, b, d});
            mesh.triangles.push_back({a, d, c});
        }
    return mesh;
}

Vec3 on_sphere(float u, float v) {
    const float phi = u * kTwoPi, theta = v * kPi;
    return {std::sin(theta) * std::cos(phi), std::cos(theta), std::sin(theta) * std::sin(phi)};
}

// Waves of falling length and height.
float terrain_height(float x, float z) {
    float height = 0.0f, amplitude = 0.12f, frequency = 5.0f;
    for (int octave = 0; octave < 8; ++octave) {
        height += amplitude * std::sin(frequency * x + 1.3f * static_cast<float>(octave))
                  * std::cos(frequency * z + 0.7f * static_cast<float>(octave));
        amplitude *= 0.5f;
        frequency *= 2.1f;
        const float turned = 0.8f * x - 0.6f * z;
        z = 0.6f * x + 0.8f * z;
        x = turned;
    }
    return height;
}

struct Dice {
    std::mt19937 bits{12345};

    float unit() { return static_cast<float>(bits() >> 8) * 0x1p-24f; }

    float symmetric() { return 2.0f * unit() - 1.0f; }
};

// A curl that grows outwards from the unit ball, as a strip of thin triangles.
void add_strand(Mesh& mesh, Dice& dice) {
    constexpr int kPieces = 10;
    constexpr float kStep = 0.05f, kWidth = 0.002f, kCurl = 0.35f;
    Vec3 direction = normalize({dice.symmetric(), dice.symmetric(), dice.symmetric()});
    Vec3 point = direction;
    std::uint32_t left = add_vertex(mesh, point);
    std::uint32_t right = add_vertex(mesh, point + Vec3{kWidth, 0.0f, 0.0f});
    for (int piece = 0; piece < kPieces; ++piece) {
        direction = normalize(direction
                              + kCurl * Vec3{dice.symmetric(), dice.symmetric(), dice.symmetric()});
        point += kStep * direction;
        const std::uint32_t tip = add_vertex(mesh, point);
        mesh.triangles.push_back({left, right, tip});
        left = right;
        right = tip;
    }
}

Mat4 turned_copy(const Vec3& position, Dice& dice) {
    const Vec3 axis = normalize({dice.symmetric(), dice.symmetric(), dice.symmetric()});
    Vec3 u, v;
    tangent_frame(axis, u, v);
    return {{{u.x, v.x, axis.x, position.x},
             {u.y, v.y, axis.y, position.y},
             {u.z, v.z, axis.z, position.z},
             {0.0f, 0.0f, 0.0f, 1.0f}}};
}

} // namespace

Scene Room() {
    Scene scene = {"room 30", {}, {}, {0, 1, 3.2f}, {0, 1, 0}, {0.1f, 1.9f, 0.2f}};
    Mesh& mesh = scene.mesh;
    add_quad(mesh, {-1, 0, -1}, {1, 0, -1}, {1, 0, 1}, {-1, 0, 1});
    add_quad(mesh, {-1, 2, -1}, {1, 2, -1}, {1, 2, 1}, {-1, 2, 1});
    add_quad(mesh, {-1, 0, -1}, {1, 0, -1}, {1, 2, -1}, {-1, 2, -1});
    add_quad(mesh, {-1, 0, -1}, {-1, 0, 1}, {-1, 2, 1}, {-1, 2, -1});
    add_quad(mesh, {1, 0, -1}, {1, 0, 1}, {1, 2, 1}, {1, 2, -1});
    add_block(mesh, {-0.35f, 0, -0.3f}, {0.3f, 0.6f, 0.3f}, 0.3f);
    add_block(mesh, {0.35f, 0, 0.35f}, {0.3f, 0.3f, 0.3f}, -0.3f);
    return scene;
}

Scene BumpySphere() {
    constexpr std::uint32_t kCells = 224;
    const auto point = [](float u, float v) {
        const float bump = std::sin(40.0f * u * kPi) * std::sin(30.0f * v * kPi);
        return (1.0f + 0.08f * bump) * on_sphere(u, v);
    };
    return {"bumpy sphere 100k", grid(kCells, point), {}, {0, 0.5f, 3}, {0, 0, 0}, {2, 4, 3}};
}

Scene Terrain(std::uint32_t cells) {
    const auto point = [](float u, float v) {
        const float x = 2.0f * u - 1.0f, z = 2.0f * v - 1.0f;
        return Vec3{x, terrain_height(x, z), z};
    };
    return {"terrain 1M", grid(cells, point), {}, {0, 0.7f, 1.2f}, {0, 0, 0}, {1.5f, 0.8f, -1}};
}

Scene Strands() {
    constexpr int kStrands = 50'000;
    Scene scene = {"strands 500k", {}, {}, {0, 0.5f, 3}, {0, 0, 0}, {2, 4, 3}};
    Dice dice;
    for (int i = 0; i < kStrands; ++i)
        add_strand(scene.mesh, dice);
    return scene;
}

Scene Instances() {
    constexpr std::uint32_t kCells = 13;
    constexpr int kSide = 100;
    const auto point = [](float u, float v) { return 0.008f * on_sphere(u, v); };
    Scene scene = {"instances 10k", grid(kCells, point), {}, {0, 0.9f, 1.3f}, {0, 0, 0}, {1, 2, 1}};
    Dice dice;
    for (int i = 0; i < kSide * kSide; ++i) {
        const int row = i / kSide, column = i % kSide;
        const float x = 0.02f * static_cast<float>(column) - 1.0f;
        const float z = 0.02f * static_cast<float>(row) - 1.0f;
        scene.instances.push_back(turned_copy({x, 0.1f * dice.unit(), z}, dice));
    }
    return scene;
}

} // namespace mh::bench
