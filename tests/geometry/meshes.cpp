// Small meshes for the tests of this folder.
// SPDX-License-Identifier: MIT
#include "geometry/meshes.h"

#include "geometry/obj_reader.h"
#include "geometry/objects.h"
#include "math/at.h"
#include "shading/shaders.h"
#include "shading/state.h"

#include <algorithm>
#include <map>
#include <tuple>
#include <utility>

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
    at(Shaders, shader).name = "smooth";
    at(Shaders, shader).smooth_angle = smooth_angle_deg;
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
    std::map<std::pair<Point, Point>, int> balance; // of directions, by ends, the smaller first
    for (const Triangle& t : part.triangles)
        for (std::size_t i = 0; i < 3; ++i) {
            const Point a = point(part.positions[t.vertex[i]]);
            const Point b = point(part.positions[t.vertex[(i + 1) % 3]]);
            if (a < b) ++balance[{a, b}];
            if (b < a) --balance[{b, a}];
        }
    return static_cast<int>(std::count_if(balance.begin(), balance.end(),
                                          [](const auto& edge) { return edge.second != 0; }));
}

} // namespace mh::test
