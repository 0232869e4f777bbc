// Meshes and the tree of nodes: each mesh is an object, each use an instance. Instances turn and
// move alone; what stretches or mirrors is applied to a copy of the mesh, one for each stretch.
// SPDX-License-Identifier: MIT
#include "import/linear.h"
#include "import/map_scene.h"
#include "math/at.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace mh {

namespace {

// Coordinates of our scenes from those of a file: its up axis becomes z, its unit metres.
Matrix root_of(const ImportedScene& scene) {
    const double s = scene.unit_m;
    switch (scene.up) {
    case 0: return {0, -s, 0, 0, 0, 0, -s, 0, s, 0, 0, 0, 0, 0, 0, 1};
    case 1: return {s, 0, 0, 0, 0, 0, -s, 0, 0, s, 0, 0, 0, 0, 0, 1};
    default: return {s, 0, 0, 0, 0, s, 0, 0, 0, 0, s, 0, 0, 0, 0, 1};
    }
}

struct Use {
    std::uint32_t mesh = 0;
    Linear stretch = {};
    auto operator<=>(const Use&) const = default;
};

struct Objects {
    const ImportedScene& scene;
    const MaterialText& materials;
    MappedScene& mapped;
    Names names = {};
    std::map<Use, std::string> made = {};
    std::string blocks = {}, instances = {};
};

// So that what was computed along two ways is found again.
Linear rounded(Linear m) {
    constexpr double kSteps = 1e6;
    double largest = 0.0;
    for (const double entry : m)
        largest = std::max(largest, std::fabs(entry));
    const double scale = std::exp2(std::floor(std::log2(largest)));
    for (double& entry : m)
        entry = std::round(entry / scale * kSteps) / kSteps * scale + 0.0;
    return m;
}

std::string object_for(Objects& objects, const Use& use, const std::string& node) {
    const auto found = objects.made.find(use);
    if (found != objects.made.end()) return found->second;
    const ImportedMesh& mesh = objects.scene.meshes[use.mesh];
    const std::string name =
        UniqueName(objects.names, mesh.name.empty() ? node : mesh.name, "mesh");
    MeshFile file;
    file.path = "geometry/" + name + ".mesh";
    file.mesh = use.mesh;
    file.stretched = !is_identity(use.stretch);
    file.stretch = use.stretch;
    file.uv_set = objects.materials.uv_sets[mesh.material];
    objects.mapped.meshes.push_back(file);
    objects.blocks += "object\n    name " + name + "\n    shader \""
                      + objects.materials.names[mesh.material] + "\"\n    mesh \"" + name
                      + ".mesh\"\nend\n";
    if (file.stretched)
        objects.mapped.approximated.push_back("scale of node " + node
                                              + " is applied to a copy of its mesh, " + name);
    return objects.made[use] = name;
}

// One matrix entry of an instance: the turn, then the place.
std::string matrix_text(const Linear& turn, const Matrix& matrix) {
    std::string text;
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column)
            text += NumberText(turn[3 * row + column]) + ' ';
        text += NumberText(matrix[4 * row + 3]) + "   ";
    }
    return text + "0 0 0 1";
}

std::string printable(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; }, '?');
    return text.substr(0, 200);
}

// A node that flattens its mesh gives no turn: its matrix goes to the mesh as a whole.
void place(Objects& objects, const ImportedNode& node, const Matrix& matrix) {
    constexpr Linear kStill = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    Linear turn = kStill, stretch = upper_left_of(matrix);
    if (split_turn(upper_left_of(matrix), turn, stretch) && is_identity(stretch)) stretch = kStill;
    for (const std::uint32_t mesh : node.meshes) {
        if (objects.scene.meshes[mesh].triangles.empty()) continue;
        const Use use = {mesh, stretch == kStill ? kStill : rounded(stretch)};
        const std::string object = object_for(objects, use, printable(node.name));
        objects.instances += "# node \"" + printable(node.name)
                             + "\"\n    instance\n        object " + object + "\n        matrix "
                             + matrix_text(turn, matrix) + "\n    end\n";
        ++objects.mapped.instances;
    }
}

} // namespace

Placed PlaceNodes(const ImportedScene& scene) {
    Placed placed;
    const Matrix root = root_of(scene);
    for (const ImportedNode& node : scene.nodes) {
        const Matrix& above = node.parent < 0 ? root : at(placed.nodes, node.parent);
        placed.nodes.push_back(product(above, node.matrix));
    }
    return placed;
}

Extent ExtentOf(const ImportedScene& scene, const Placed& placed, const Linear& axes) {
    constexpr float kFar = std::numeric_limits<float>::max();
    Vec3 low = {kFar, kFar, kFar}, high = {-kFar, -kFar, -kFar};
    for (std::size_t n = 0; n < scene.nodes.size(); ++n)
        for (const std::uint32_t mesh : scene.nodes[n].meshes)
            for (const Vec3& position : scene.meshes[mesh].positions) {
                const Vec3 p = turned(axes, moved(placed.nodes[n], position));
                low = {std::min(low.x, p.x), std::min(low.y, p.y), std::min(low.z, p.z)};
                high = {std::max(high.x, p.x), std::max(high.y, p.y), std::max(high.z, p.z)};
            }
    return low.x <= high.x ? Extent{low, high} : Extent{};
}

std::string MapObjects(const ImportedScene& scene, const Placed& placed,
                       const MaterialText& materials, MappedScene& mapped) {
    Objects objects = {scene, materials, mapped};
    objects.names.taken["scene"] = 1;
    for (std::size_t i = 0; i < scene.nodes.size(); ++i)
        if (!scene.nodes[i].meshes.empty()) place(objects, scene.nodes[i], placed.nodes[i]);
    if (objects.instances.empty()) return "# The file has no faces.\n";
    return objects.blocks + "object\n    name scene\n" + objects.instances + "end\n";
}

} // namespace mh
