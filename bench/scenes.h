// Meshes that the benchmarks generate, the same on every run.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/matrix.h"
#include "math/vec3.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace mh::bench {

struct Mesh {
    std::vector<Vec3> positions;
    std::vector<std::array<std::uint32_t, 3>> triangles;
};

// A mesh, once or many times, and where the camera and the light stand.
struct Scene {
    std::string name;
    Mesh mesh;
    std::vector<Mat4> instances; // empty: the mesh itself, once
    Vec3 eye, look_at, light;
    float lift = 1e-4f; // gap between a surface and the rays that leave it
};

Scene Room();                             // 30 triangles: walls, floor, ceiling and two blocks
Scene BumpySphere();                      // 100 thousand triangles
Scene Terrain(std::uint32_t cells = 707); // twice the square of it: 1 million triangles
Scene Strands();                          // 500 thousand thin triangles: curls on a ball
Scene Instances();                        // 10 thousand turned copies of a ball of 320 triangles

} // namespace mh::bench
