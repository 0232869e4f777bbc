// Checks, repairs and completion of parts, and the statistics of an object.
// SPDX-License-Identifier: MIT
#include "geometry/finalise.h"
#include "geometry/meshes.h"
#include "geometry/objects.h"
#include "geometry/strands.h"
#include "shading/shaders.h"
#include "shading/state.h"

#include <cmath>

#include <gtest/gtest.h>

namespace mh::test {
namespace {

using PartCheck = MeshTest;
using PartEnd = MeshTest;

const std::string kMixed =
    "error :( \tobject - mixed types (ex. cylinders and triangles in the same group) \n" + kRule;
const std::string kSizes = "error :( \tobject - different size of per vertex data array\n" + kRule;

// Points along x, radius 0.1.
Part line_part(std::size_t points) {
    Part part = empty_part();
    for (std::size_t i = 0; i < points; ++i)
        part.positions.push_back({static_cast<float>(i), 0.0f, 0.0f});
    radii(part).assign(points, 0.1f);
    return part;
}

TEST_F(PartCheck, ReportsMixturesOfKindsAndBringsArraysToTheSizeOfThePositions) {
    Part part = line_part(4);
    part.cylinders = {0};
    part.particles = {3};
    part.triangles = {{{0, 1, 2}, 0}};
    part.vec3_arrays.push_back({"empty", {}}); // no fault
    CheckPart(part);
    EXPECT_EQ(scene.take_report(), kMixed + kMixed + kMixed);
    part = line_part(4);
    uvs(part).resize(2);
    part.normals.resize(9);
    CheckPart(part);
    EXPECT_EQ(scene.take_report(), kSizes);
    EXPECT_EQ(uvs(part).size() + part.normals.size(), 4u + 4u);
}

TEST_F(PartCheck, GivesUndefinedFacesThePartsShader) {
    const std::uint32_t own = add_smooth_shader(-1.0f);
    Part part = line_part(3);
    part.shader_id = add_smooth_shader(-1.0f);
    part.triangles = {{{0, 1, 2}, 0}, {{0, 1, 2}, own}, {{0, 1, 2}, 4000}};
    CheckPart(part);
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_EQ(part.triangles[i].shader, i == 1 ? own : part.shader_id);
}

TEST_F(PartCheck, RemovesWhatCannotBeTraced) {
    Part part = line_part(6);
    part.positions[4] = {kNan, 0.0f, 0.0f};
    part.positions[5] = {0.0f, -2e18f, 0.0f};
    part.triangles = {{{0, 1, 2}, 0}, {{0, 1, 6}, 0}, {{0, 4, 2}, 0}, {{5, 1, 2}, 0}};
    part.tetragons = {{{0, 1, 2, 3}, 0}, {{0, 1, 2, 0xFFFFFFFFu}, 0}};
    CheckPart(part);
    EXPECT_EQ(part.triangles.size(), 1u);
    EXPECT_EQ(part.tetragons.size(), 1u);
    EXPECT_EQ(scene.take_report().find("error :( \tobject - 4 primitives"), 0u);

    Part round = line_part(6);
    radii(round)[3] = kNan;
    round.particles = {0, 3, 6};
    CheckPart(round);
    EXPECT_EQ(round.particles, (std::vector<std::uint32_t>{0}));
    Part hair = line_part(6);
    radii(hair).clear(); // a host's hair without radii
    hair.positions[1].z = kNan;
    hair.cylinders = {0, 1, 2, 3, 4, 5};
    hair.strand_lengths = {3, 2, 1};
    CheckPart(hair);
    EXPECT_EQ(hair.cylinders, (std::vector<std::uint32_t>{2, 3, 4}));
    EXPECT_EQ(hair.strand_lengths, (std::vector<std::uint32_t>{1, 2, 0}));
    EXPECT_EQ(radii(hair).size(), 6u);
}

TEST_F(PartEnd, CompletesStrands) {
    const float third = 1.0f / 3.0f;
    const std::pair<std::vector<std::uint32_t>, std::vector<float>> cases[] = {
        {{4}, {0.0f, 0.2f, 0.4f, 0.6f, 0.8f}},
        {{2, 2}, {0.0f, third, 2.0f * third, 0.0f, third, 2.0f * third}}};
    for (const auto& [segments, parameter] : cases) {
        Part part = line_part(parameter.size());
        AddStrands(part, segments);
        FinalisePart(part);
        EXPECT_EQ(part.scalar_arrays.back().name, "parameter");
        EXPECT_EQ(part.scalar_arrays.back().values, parameter);
        for (std::size_t i = 0; i < part.tangents.size(); ++i) // one for each cylinder
            EXPECT_EQ(part.tangents[i], (i < 4 ? PackedUnit{127, 0, 0} : PackedUnit{}));
    }
    EXPECT_TRUE(Shaders[0].is_hair);
}

// Strands that overlap: the later one counts, and the time stays linear.
TEST_F(PartEnd, WritesParametersOfCylindersInAnyOrder) {
    Part part = line_part(400000);
    for (std::uint32_t i = 0; i < 400000; ++i)
        part.cylinders.push_back(i % 2 == 0 ? 0 : 399998);
    AddStrandParameters(part); // one after the other would take minutes
    for (const auto& [vertex, value] : {std::pair{0u, 0.0f}, {199999u, 0.5f}, {399999u, 0.5f}})
        EXPECT_EQ(part.scalar_arrays.back().values[vertex], value);
}

TEST_F(PartEnd, TurnsFacesAndFindsMotionByItsWholeName) {
    const std::uint32_t shader = add_smooth_shader(-1.0f);
    Shaders[shader].reverse_winding = true;
    Part part = part_from_obj(cube_text(), shader);
    part.triangles = {{{0, 1, 2}, shader}};
    auto turned = part.tetragons[0].vertex;
    std::swap(turned[0], turned[2]);
    part.vec3_arrays.push_back({"motion blur", {}});
    FinalisePart(part);
    EXPECT_FALSE(part.has_motion);
    EXPECT_EQ(part.triangles[0].vertex, (std::array<std::uint32_t, 3>{1, 0, 2}));
    EXPECT_EQ(part.tetragons[0].vertex, turned);
    part.vec3_arrays.back().name = "motion";
    FinalisePart(part);
    EXPECT_TRUE(part.has_motion);
}

} // namespace
} // namespace mh::test
