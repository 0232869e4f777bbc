// Smoothing against counts that follow from its rule and against a direct, quadratic version.
// SPDX-License-Identifier: MIT
#include "geometry/smoothing.h"

#include "geometry/meshes.h"
#include "geometry/objects.h"
#include "math/faces.h"
#include "math/roots.h"
#include "shading/shaders.h"

#include <cmath>
#include <random>
#include <sstream>

#include <gtest/gtest.h>
#include <omp.h>

namespace mh::test {
namespace {

using Smoothing = MeshTest;

Part smooth_cube(const std::string& text, float angle_deg) {
    Part part = part_from_obj(text, add_smooth_shader(angle_deg));
    Smooth(part);
    return part;
}

std::string cone_text(int faces, double height) {
    std::ostringstream text;
    text << "v 0 0 " << height;
    for (int i = 0; i < faces; ++i) {
        const double angle = 6.283185307179586 * i / faces;
        text << "\nv " << std::cos(angle) << ' ' << std::sin(angle) << " 0";
    }
    for (int i = 0; i < faces; ++i)
        text << "\nf 1 " << 2 + i << ' ' << 2 + (i + 1) % faces;
    return text.str();
}

TEST_F(Smoothing, SplitsACubeStrictlyByAngle) {
    for (const std::string& text : {cube_text(), triangle_cube_text()}) {
        EXPECT_EQ(smooth_cube(text, 30.0f).positions.size(), 24u);
        EXPECT_EQ(smooth_cube(text, 90.0f).positions.size(), 24u);
    }
    // Normals merge at 91; face tangents of opposite direction only when every angle passes.
    const Part round = smooth_cube(cube_text(), 91.0f);
    for (std::size_t i = 0; i < round.positions.size(); ++i) {
        const Vec3 outwards = normalize(round.positions[i]);
        EXPECT_GT(dot(unpack_unit(round.normals[i]), outwards), 0.9999f) << i;
    }
    EXPECT_EQ(smooth_cube(cube_text(), 181.0f).positions.size(), 8u);
}

TEST_F(Smoothing, GivesZeroFramesAtAngleZeroAndKeepsOldOnesBelow) {
    for (const float angle : {0.0f, -1.0f}) {
        const Part flat = smooth_cube(cube_text(), angle);
        EXPECT_EQ(flat.positions.size(), 8u);
        for (const PackedUnit& n : flat.normals)
            EXPECT_TRUE(is_zero(n));
    }
    // One face smoothed, the other keeps the normal of its file, the third has none to keep.
    Part part = part_from_obj("v 0 0 0\nv 1 0 0\nv 0 1 0\nv 0 0 1\nvn 1 0 0\n"
                              "f 1 2 3\nf 1//1 3//1 4//1\nf 1 4 2\n",
                              add_smooth_shader(-1.0f));
    part.triangles[0].shader = add_smooth_shader(40.0f);
    Smooth(part);
    const PackedUnit expected[] = {{0, 0, 127}, {127, 0, 0}, {0, 127, 0}};
    for (std::size_t face = 0; face < 3; ++face)
        EXPECT_EQ(part.normals[part.triangles[face].vertex[0]], expected[face]) << face;
}

TEST_F(Smoothing, RefusesFacesOutOfRange) {
    Part part = part_from_obj(cube_text());
    part.tetragons[0] = {{0, 1, 2, 99}, add_smooth_shader(10.0f)};
    Smooth(part);
    EXPECT_TRUE(scene.take_report().starts_with("error :( \tsmoothing out of range\n"));
}

TEST_F(Smoothing, KeepsSeamsOfTextureCoordinates) {
    const std::string square = "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\n"
                               "vt 0 0\nvt 1 0.5\nvt 1 1.5\nvt 0 1\nvt 3 3\n";
    const std::uint32_t shader = add_smooth_shader(60.0f);
    Part joined = part_from_obj(square + "f 1/1 2/2 3/3\nf 3/3 4/4 1/1\n", shader);
    Part seam = part_from_obj(square + "f 1/1 2/2 3/3\nf 3/5 4/4 1/1\n", shader);
    Smooth(joined);
    Smooth(seam);
    EXPECT_EQ(joined.positions.size(), 4u);
    EXPECT_GE(seam.positions.size(), 5u);
    EXPECT_EQ(joined.tangents[0], pack_unit({2, -1, 0})); // along growing u
}

TEST_F(Smoothing, KeepsTheVerticesOfOtherKindsInFront) {
    Part part = part_from_obj(cube_text(), add_smooth_shader(30.0f));
    part.particles = {7};
    const std::vector<Vec3> before = part.positions;
    Smooth(part);
    ASSERT_EQ(part.positions.size(), 8u + 24u);
    EXPECT_TRUE(std::equal(before.begin(), before.end(), part.positions.begin()));
    EXPECT_GE(part.tetragons[0].vertex[0], 8u);
}

// The rule word by word: every corner against every other at its position.
PackedUnit slow_normal(const Part& part, const std::vector<Vec3>& normals, std::size_t face,
                       std::uint32_t vertex, float threshold) {
    Vec3 total;
    for (std::size_t j = 0; j < part.triangles.size(); ++j)
        for (const std::uint32_t other : part.triangles[j].vertex) {
            if (!(part.positions[other] == part.positions[vertex])) continue;
            const float cosine = std::clamp(dot(normals[face], normals[j]), -1.0f, 1.0f);
            if (normals[face] == normals[j] || threshold > std::acos(cosine)) total += normals[j];
        }
    return pack_unit(total);
}

// Few positions for many faces: groups are large enough for both ways of summing, which may round a
// packed component differently by one.
TEST_F(Smoothing, AgreesWithTheDirectSum) {
    std::mt19937 random(5);
    for (const float angle : {5.0f, 20.0f, 60.0f, 90.0f, 120.0f, 179.0f, 180.0f, 300.0f}) {
        std::string text;
        for (int i = 0; i < 3 * 12; ++i)
            text += (i % 3 == 0 ? "\nv " : " ") + std::to_string(random() % 3);
        for (int i = 0; i < 3 * 300; ++i)
            text += (i % 3 == 0 ? "\nf " : " ") + std::to_string(1 + random() % (i < 600 ? 12 : 4));
        const Part before = part_from_obj(text, add_smooth_shader(angle));
        std::vector<Vec3> normals;
        for (const Triangle& t : before.triangles) {
            const auto corner = [&](std::size_t i) { return before.positions[t.vertex[i]]; };
            normals.push_back(triangle_normal(corner(0), corner(1), corner(2)));
        }
        Part part = before;
        Smooth(part);
        for (std::size_t f = 0; f < part.triangles.size(); ++f) {
            const PackedUnit expected = slow_normal(
                before, normals, f, before.triangles[f].vertex[0], angle * 0.0174532924f);
            const PackedUnit got = part.normals[part.triangles[f].vertex[0]];
            EXPECT_TRUE(std::abs(got.x - expected.x) <= 1 && std::abs(got.y - expected.y) <= 1
                        && std::abs(got.z - expected.z) <= 1)
                << "angle " << angle << " face " << f;
        }
    }
}

std::vector<std::array<std::uint32_t, 3>> corners_of(const Part& part) {
    std::vector<std::array<std::uint32_t, 3>> corners;
    for (const Triangle& t : part.triangles)
        corners.push_back(t.vertex);
    return corners;
}

// Edges of 1e-4 make cross products that are far below what normalize() brings to unit length.
TEST_F(Smoothing, TreatsTinyMeshesLikeLargeOnes) {
    Part large = part_from_obj(cone_text(40, 0.5), add_smooth_shader(20.0f)), tiny = large;
    for (Vec3& p : tiny.positions)
        p *= 0.0009765625f; // a power of two: normals are the same to the last bit
    Smooth(large);
    Smooth(tiny);
    EXPECT_EQ(tiny.normals, large.normals);
    EXPECT_EQ(corners_of(tiny), corners_of(large));
}

TEST_F(Smoothing, DoesNotDependOnTheNumberOfThreads) {
    Part one = part_from_obj(cone_text(5000, 0.7), add_smooth_shader(50.0f)), four = one;
    const int threads = omp_get_max_threads();
    omp_set_num_threads(1);
    Smooth(one);
    omp_set_num_threads(4);
    Smooth(four);
    omp_set_num_threads(threads);
    EXPECT_EQ(one.positions, four.positions);
    EXPECT_EQ(one.normals, four.normals);
    EXPECT_EQ(one.tangents, four.tangents);
    EXPECT_EQ(corners_of(one), corners_of(four));
}

// A quadratic sum over 100 thousand corners would take minutes.
TEST_F(Smoothing, TakesLargeFans) {
    for (const float angle : {0.5f, 40.0f, 179.0f}) {
        Part part = part_from_obj(cone_text(100000, 0.5), add_smooth_shader(angle));
        Smooth(part);
        EXPECT_EQ(part.triangles.size(), 100000u);
        const Vec3 tip = unpack_unit(part.normals[part.triangles[7].vertex[0]]);
        EXPECT_EQ(tip.z > 0.999f, angle > 100.0f) << angle;
    }
}

} // namespace
} // namespace mh::test
