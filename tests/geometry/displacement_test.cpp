// Displacement: counts, closed meshes without cracks, the patch, refusals.
// SPDX-License-Identifier: MIT
#include "geometry/displacement.h"

#include "geometry/finalise.h"
#include "geometry/meshes.h"
#include "geometry/objects.h"
#include "geometry/patch.h"
#include "math/at.h"
#include "math/roots.h"
#include "shading/images.h"
#include "shading/shaders.h"
#include "shading/state.h"

#include <algorithm>
#include <cmath>

#include <gtest/gtest.h>

namespace mh::test {
namespace {

using Displacing = MeshTest;

const std::string kMissing = "warning :( \tmissing vertex normals for displacement mapping\n";

std::uint32_t add_displaced_shader(float smooth_angle_deg, const std::vector<int>& levels,
                                   const Vec3& vector = {}) {
    const std::uint32_t shader = add_smooth_shader(smooth_angle_deg);
    for (const int level : levels) {
        ShaderElement& element = Shaders[shader].displacement.vectors.emplace_back();
        element.level = level;
        element.color = vector;
    }
    return shader;
}

Part displaced(std::uint32_t shader) {
    Part part = part_from_obj("v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n", shader);
    FinalisePart(part);
    return part;
}

TEST_F(Displacing, DividesFacesByTheSquaresOfTheLevels) {
    const std::tuple<std::vector<int>, std::size_t, std::size_t> cases[] = {
        {{1}, 1, 3},      {{2}, 4, 6}, {{3}, 9, 10}, {{64}, 4096, 65 * 33},
        {{2, 3}, 36, 28}, {{0}, 0, 4}, {{-5}, 0, 4}}; // old vertices stay
    for (const auto& [levels, triangles, positions] : cases) {
        const Part part = displaced(add_displaced_shader(30.0f, levels));
        EXPECT_EQ(part.triangles.size(), triangles) << levels[0];
        EXPECT_EQ(part.positions.size(), positions) << levels[0];
        for (const Vec3& p : part.positions)
            EXPECT_EQ(p.z, 0.0f); // flat stays flat
    }
}

TEST_F(Displacing, SplitsTetragonsOnlyWithALayer) {
    Part part = part_from_obj(cube_text(), add_smooth_shader(30.0f));
    Part plain = part;
    FinalisePart(plain);
    EXPECT_EQ(plain.tetragons.size(), 6u);
    part.tetragons[2].shader = add_displaced_shader(30.0f, {3});
    FinalisePart(part);
    EXPECT_TRUE(part.tetragons.empty());
    EXPECT_EQ(part.triangles.size(), 10u + 2u * 9u);
}

// An image whose blue channel waves over the unit square.
int add_wave_image() {
    const int index = FindOrAddImage("wave");
    Image& image = at(Textures, index);
    AllocateImage(image, 8, 8, 3, 32, false);
    for (std::int64_t i = 0; i < 64; ++i)
        set_texel(image, i, {0.0f, 0.0f, 0.3f * std::sin(static_cast<float>(i * i))});
    return index;
}

// The faces number the ends of their shared edges in every way, another one at each level.
TEST_F(Displacing, LeavesNoCrackAtAnyLevel) {
    const int image = add_wave_image();
    const std::string text = "v 1 1 1\nv 1 -1 -1\nv -1 1 -1\nv -1 -1 1\n"
                             "f 1 2 3\nf 1 3 4\nf 1 4 2\nf 2 4 3\n";
    Part tetrahedron = part_from_obj(text);
    for (std::size_t i = 0; i < tetrahedron.positions.size(); ++i)
        uvs(tetrahedron)[i] = {0.31f * static_cast<float>(i), 0.17f * static_cast<float>(i * i)};
    for (int level = 1; level <= 64; ++level) {
        const std::uint32_t shader = add_displaced_shader(150.0f, {level});
        Shaders[shader].displacement.vectors[0].image_index = image;
        Part part = tetrahedron;
        for (std::size_t f = 0; f < 4; ++f) {
            auto& v = part.triangles[f].vertex;
            part.triangles[f].shader = shader;
            std::rotate(v.begin(), v.begin() + (level / static_cast<int>(f + 1)) % 3, v.end());
        }
        FinalisePart(part);
        EXPECT_EQ(part.triangles.size(), to_size(4 * level * level));
        EXPECT_EQ(open_edges(part), 0) << "level " << level;
    }
}

TEST_F(Displacing, MovesByTheVectorOrInTheFrame) {
    const int image = add_texel_image("constant", {0.25f, 0.5f, 4.0f});

    const std::tuple<Vec3, int, Vec3> cases[] = {
        {Vec3{}, -1, Vec3{}},
        {Vec3{0, 0.5f, 2}, -1, Vec3{0, 0.5f, 2}},
        {Vec3{}, image, Vec3{0.5f, -0.25f, 4}},           // N = z, T = x, B = y: (d.y, -d.x, d.z)
        {Vec3{1, 1, 0.5f}, image, Vec3{0.25f, 0.5f, 2}}}; // scales the look-up
    for (const auto& [vector, image_index, corner] : cases) {
        const std::uint32_t shader = add_displaced_shader(30.0f, {1}, vector);
        Shaders[shader].displacement.vectors[0].image_index = image_index;
        const Part part = displaced(shader);
        EXPECT_EQ(part.positions[part.triangles[0].vertex[0]], corner);
    }
}

TEST_F(Displacing, LeavesFacesWithoutNormalsOrWithTooManyPiecesAlone) {
    const std::string too_many = "warning :( \tdisplacement - level ";
    const std::tuple<float, int, std::string> cases[] = {
        {-1.0f, 4, kMissing + kMissing + kRule},
        {0.0f, 4, kMissing + kMissing + kRule},
        {30.0f, 70000, too_many + "70000 of shader smooth"},
        {30.0f, 2000000000, too_many + "2000000000 of shader smooth"}};
    for (const auto& [angle, level, message] : cases) {
        EXPECT_EQ(displaced(add_displaced_shader(angle, {level})).triangles.size(), 1u);
        EXPECT_TRUE(scene.take_report().starts_with(message)) << level;
    }
}

// Corners and normals of a sphere, 0.2 radians apart. The patch agrees with the sphere but for
// terms of fourth order in that angle; a flat triangle would be off by its square / 8, 5e-3.
TEST(PatchPoint, PassesThroughCornersAndFollowsASphere) {
    std::array<OrientedPoint, 3> corners;
    const std::array<Vec3, 3> points = {{{1, 0, 0}, {1, 0.2f, 0}, {1, 0.1f, 0.17f}}};
    for (std::size_t i = 0; i < 3; ++i)
        corners[i] = {normalize(points[i]), normalize(points[i])};
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_EQ(patch_point(corners, {i == 0 ? 1.0f : 0, i == 1 ? 1.0f : 0, i == 2 ? 1.0f : 0}),
                  corners[i].position);
    for (std::uint64_t row = 0; row <= 16; ++row)
        for (std::uint64_t j = 0; j <= row; ++j) {
            const Vec3 p = patch_point(corners, grid_weights(16, row, j));
            EXPECT_NEAR(std::sqrt(dot(p, p)), 1.0f, 1e-4f) << row << " " << j;
        }
}

} // namespace
} // namespace mh::test
