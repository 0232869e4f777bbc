// Small meshes for the tests of this folder.
// SPDX-License-Identifier: MIT
#include "geometry/meshes.h"

#include "geometry/obj_reader.h"
#include "geometry/objects.h"
#include "shading/shaders.h"

#include <algorithm>
#include <array>
#include <map>
#include <tuple>

namespace mh::test {
namespace {

using Point = std::tuple<float, float, float>;

Point point(const Vec3& p) {
    return {p.x + 0.0f, p.y + 0.0f, p.z + 0.0f}; // -0 becomes 0
}

const char* const kCubeVertices = "v -1 -1 -1\nv 1 -1 -1\nv 1 1 -1\nv -1 1 -1\n"
                                  "v -1 -1 1\nv 1 -1 1\nv 1 1 1\nv -1 1 1\n";

} // namespace

std::uint32_t add_smooth_shader(float smooth_angle_deg) {
    const int shader = AddShader();
    Shaders[static_cast<std::size_t>(shader)].name = "smooth";
    Shaders[static_cast<std::size_t>(shader)].smooth_angle = smooth_angle_deg;
    return static_cast<std::uint32_t>(shader);
}

Part part_from_obj(const std::string& text, std::uint32_t shader) {
    const TemporaryFolder folder;
    folder.write("mesh.obj", text);
    MeshLoader loader;
    ReadObj(loader, folder.path + "mesh.obj");
    Part part = empty_part();
    AssembleMesh(loader, part);
    for (Triangle& t : part.triangles)
        t.shader = shader;
    for (Tetragon& t : part.tetragons)
        t.shader = shader;
    return part;
}

std::string cube_text() {
    return std::string(kCubeVertices)
           + "f 4 3 2 1\nf 5 6 7 8\nf 1 2 6 5\nf 2 3 7 6\nf 3 4 8 7\nf 4 1 5 8\n";
}

std::string triangle_cube_text() {
    return std::string(kCubeVertices)
           + "f 4 3 2\nf 2 1 4\nf 5 6 7\nf 7 8 5\nf 2 6 1\nf 5 1 6\n"
             "f 3 7 6\nf 6 2 3\nf 8 7 3\nf 3 4 8\nf 1 5 8\nf 4 1 8\n";
}

int open_edges(const Part& part) {
    std::map<Point, int> numbers; // of the positions
    for (const Vec3& p : part.positions)
        numbers.emplace(point(p), static_cast<int>(numbers.size()));
    std::vector<std::array<int, 3>> edges; // both ends, smaller first, and direction
    const auto add = [&](std::uint32_t from, std::uint32_t to) {
        const int a = numbers[point(part.positions[from])], b = numbers[point(part.positions[to])];
        if (a != b) edges.push_back({std::min(a, b), std::max(a, b), a < b ? 1 : -1});
    };
    for (const Triangle& t : part.triangles)
        for (std::size_t i = 0; i < 3; ++i)
            add(t.vertex[i], t.vertex[(i + 1) % 3]);
    std::sort(edges.begin(), edges.end());
    int open = 0;
    for (std::size_t i = 0; i < edges.size();) {
        const std::size_t first = i;
        int balance = 0;
        for (; i < edges.size() && edges[i][0] == edges[first][0] && edges[i][1] == edges[first][1];
             ++i)
            balance += edges[i][2];
        open += balance != 0;
    }
    return open;
}

} // namespace mh::test
