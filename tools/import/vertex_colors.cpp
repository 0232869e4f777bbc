// A triangle takes a square of two by two texels, its corners lie in the middles of three of them.
// With the neighbours' sum less the first in the fourth, a bilinear look-up is linear, as far as
// that is not negative.
// SPDX-License-Identifier: MIT
#include "import/vertex_colors.h"

#include "math/at.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace mh {

namespace {

constexpr std::size_t kSide = 2; // texels of a triangle's square

struct Palette {
    std::size_t squares; // of a row; the picture is a square of squares
    std::vector<Vec3> texels = std::vector<Vec3>(kSide * kSide * squares * squares);

    std::size_t width() const { return kSide * squares; }
};

std::size_t first_texel(const Palette& palette, std::size_t triangle) {
    return kSide * (triangle / palette.squares * palette.width() + triangle % palette.squares);
}

Vec3 not_negative(const Vec3& v) {
    return {std::max(v.x, 0.0f), std::max(v.y, 0.0f), std::max(v.z, 0.0f)};
}

bool is_white(const Vec3& color) {
    return color.x == 1.0f && color.y == 1.0f && color.z == 1.0f;
}

bool is_painted(const ImportedMesh& mesh) {
    return mesh.colors.size() == mesh.positions.size() && !mesh.triangles.empty()
           && !std::all_of(mesh.colors.begin(), mesh.colors.end(), is_white);
}

bool has_maps(const ImportedMaterial& material) {
    return std::any_of(material.maps.begin(), material.maps.end(),
                       [](const ImportedMap& map) { return map.image >= 0; });
}

// Rows of a PFM file in the order of the texels; textures have their first row at the bottom.
std::vector<std::uint8_t> pfm_of(const Palette& palette) {
    static_assert(std::endian::native == std::endian::little);
    const std::string side = std::to_string(palette.width());
    const std::string head = "PF\n" + side + ' ' + side + "\n-1\n";
    std::vector<std::uint8_t> bytes(head.begin(), head.end());
    const auto* const texels = reinterpret_cast<const std::uint8_t*>(palette.texels.data());
    bytes.insert(bytes.end(), texels, texels + palette.texels.size() * sizeof(Vec3));
    return bytes;
}

Vec2 middle_of(const Palette& palette, std::size_t texel) {
    const auto width = static_cast<double>(palette.width());
    const auto middle = [&](std::size_t i) {
        return static_cast<float>((static_cast<double>(i) + 0.5) / width);
    };
    return {middle(texel % palette.width()), middle(texel / palette.width())};
}

using Corners = std::array<std::uint32_t, 3>;

float negative_part(const Vec3& v) {
    return std::max(-v.x, 0.0f) + std::max(-v.y, 0.0f) + std::max(-v.z, 0.0f);
}

// Begins with the corner whose fourth texel is cut the least.
Corners best_turn(const Corners& corners, const std::vector<Vec3>& colors) {
    Corners best = corners, turned = corners;
    const auto cut = [&](const Corners& c) {
        return negative_part(colors[c[1]] + colors[c[2]] - colors[c[0]]);
    };
    for (int turn = 1; turn < 3; ++turn) {
        std::rotate(turned.begin(), turned.begin() + 1, turned.end());
        if (cut(turned) < cut(best)) best = turned;
    }
    return best;
}

// The picture of the colours; the mesh's vertices become those of single triangles.
Palette unfold(ImportedMesh& mesh) {
    const std::size_t count = mesh.triangles.size();
    Palette palette = {static_cast<std::size_t>(std::ceil(std::sqrt(static_cast<double>(count))))};
    const ImportedMesh from = std::move(mesh);
    mesh = {from.name, from.material, {}, {}, {{}}, {}, {}};
    for (std::size_t t = 0; t < count; ++t) {
        const std::size_t texel = first_texel(palette, t);
        const std::size_t corners[] = {texel, texel + 1, texel + palette.width()};
        const Corners vertices = best_turn(from.triangles[t], from.colors);
        const auto first = static_cast<std::uint32_t>(mesh.positions.size());
        for (std::size_t c = 0; c < 3; ++c) {
            mesh.positions.push_back(from.positions[vertices[c]]);
            if (!from.normals.empty()) mesh.normals.push_back(from.normals[vertices[c]]);
            mesh.uv_sets[0].push_back(middle_of(palette, corners[c]));
            palette.texels[corners[c]] = from.colors[vertices[c]];
        }
        palette.texels[corners[2] + 1] = not_negative(
            palette.texels[corners[1]] + palette.texels[corners[2]] - palette.texels[corners[0]]);
        mesh.triangles.push_back({first, first + 1, first + 2});
    }
    return palette;
}

bool is_shared(const ImportedScene& scene, std::uint32_t material) {
    return 1 < std::count_if(scene.meshes.begin(), scene.meshes.end(),
                             [&](const ImportedMesh& mesh) { return mesh.material == material; });
}

// The grey that stands in for a material that the file lacks would darken the colours.
void paint(ImportedScene& scene, ImportedMesh& mesh) {
    if (is_shared(scene, mesh.material)) {
        scene.materials.push_back(ImportedMaterial(scene.materials[mesh.material]));
        mesh.material = static_cast<std::uint32_t>(scene.materials.size() - 1);
    }
    ImportedMaterial& material = scene.materials[mesh.material];
    if (material.name == "DefaultMaterial") material.base = {1.0f, 1.0f, 1.0f};
    const auto image = static_cast<std::int32_t>(scene.images.size());
    at(material.maps, MapKind::base).image = image;
    at(material.maps, MapKind::base).linear = true;
    const Palette palette = unfold(mesh);
    scene.images.push_back({mesh.name + "_colors.pfm", pfm_of(palette)});
}

} // namespace

void PaintVertexColors(ImportedScene& scene) {
    constexpr std::size_t kMostTriangles = std::size_t{1} << 26; // 2^28 texels
    for (ImportedMesh& mesh : scene.meshes) {
        if (!is_painted(mesh)) continue;
        if (!has_maps(scene.materials[mesh.material]) && mesh.triangles.size() < kMostTriangles)
            paint(scene, mesh);
        else
            scene.dropped.push_back("colours of the vertices of mesh " + mesh.name
                                    + ", whose material has pictures");
    }
}

} // namespace mh
