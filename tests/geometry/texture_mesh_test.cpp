// Meshes and particles stored in images that the tests write.
// SPDX-License-Identifier: MIT
#include "geometry/texture_mesh.h"

#include "geometry/meshes.h"
#include "geometry/objects.h"
#include "shading/images.h"

#include <gtest/gtest.h>

namespace mh::test {
namespace {

using TextureMesh = MeshTest;
using ParticleTexture = MeshTest;

// A PPM of one row; samples are bytes, or 16-bit words of high and low byte.
std::string ppm(int width, int largest, const std::vector<int>& samples) {
    std::string file = "P6\n" + std::to_string(width) + " 1\n" + std::to_string(largest) + "\n";
    for (const int s : samples) {
        if (largest > 255) file += static_cast<char>(s >> 8);
        file += static_cast<char>(s & 255);
    }
    return file;
}

// A byte of 255 times the rounded 1 / 255 falls short of 1 by one digit.
constexpr float kOne = 255.0f * 0.0039215684f;

TEST_F(TextureMesh, TakesOneElementPerPixel) {
    const TemporaryFolder folder;
    folder.write("p.ppm", ppm(4, 255, {0, 0, 0, 255, 0, 0, 255, 255, 0, 0, 255, 0}));
    folder.write("uv.ppm", ppm(4, 255, {0, 0, 9, 255, 0, 9, 255, 255, 9, 0, 255, 9}));
    folder.write("n.ppm", ppm(4, 255, {0, 0, 255, 0, 0, 255, 0, 0, 255, 0, 0, 255}));
    for (const int largest : {255, 65535}) {
        folder.write("t.ppm", ppm(3, largest, {0, 1, 2, 2, 3, 0, 0, 1, 77}));
        Part part = empty_part();
        ReadTextureMesh({"p.ppm", "uv.ppm", "n.ppm", "", "t.ppm"}, part);
        ASSERT_EQ(part.triangles.size(), 2u) << largest;
        EXPECT_EQ(part.positions.size(), 4u);
        EXPECT_EQ(part.positions[part.triangles[1].vertex[0]], (Vec3{kOne, kOne, 0}));
        EXPECT_EQ(uvs(part)[part.triangles[1].vertex[1]], (Vec2{0, kOne}));
        EXPECT_EQ(part.normals[0], (PackedUnit{0, 0, 127}));
    }
    Part empty = empty_part();
    ReadTextureMesh({"none.png", "", "", "", "t.ppm"}, empty);
    EXPECT_TRUE(empty.positions.empty() && empty.triangles.empty());
}

// Little-endian floats, one row.
std::string pfm(const std::vector<float>& values) {
    std::string file = "PF\n" + std::to_string(values.size() / 3) + " 1\n-1.0\n";
    return file.append(reinterpret_cast<const char*>(values.data()), values.size() * sizeof(float));
}

TEST_F(TextureMesh, KeepsSignsDigitsAndIndicesOfFloats) {
    const TemporaryFolder folder;
    std::vector<float> positions;
    for (int i = 0; i < 1000; ++i)
        positions.insert(positions.end(), {0.1f * static_cast<float>(i), -1.2345678f, 1e-20f});
    folder.write("p.pfm", pfm(positions));
    folder.write("n.pfm", pfm(std::vector<float>(3000, -1.0f)));
    folder.write("t.pfm", pfm({0, 257, 999, 998, 1, 0}));
    Part part = empty_part();
    ReadTextureMesh({"p.pfm", "", "n.pfm", "", "t.pfm"}, part);
    ASSERT_EQ(part.triangles.size(), 2u) << scene.take_report();
    EXPECT_EQ(part.positions.at(part.triangles[0].vertex[2]), (Vec3{99.9f, -1.2345678f, 1e-20f}));
    EXPECT_EQ(part.positions.at(part.triangles[0].vertex[1]), (Vec3{25.7f, -1.2345678f, 1e-20f}));
    EXPECT_EQ(part.normals.at(0), pack_unit({-1, -1, -1}));
}

TEST_F(ParticleTexture, TakesTheRadiusFromTheFourthChannel) {
    const TemporaryFolder folder;
    // An uncompressed TGA of two pixels in BGRA, first row at the bottom.
    const std::string header = {0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0, 1, 0, 32, 8};
    folder.write("p.tga", header + std::string("\0\0\xFF\x33\xFF\0\0\xFF", 8));
    Part part = empty_part();
    ReadParticleTexture(part, "p.tga");
    ASSERT_EQ(part.particles.size(), 2u);
    EXPECT_EQ(part.positions[0], (Vec3{kOne, 0, 0}));
    EXPECT_EQ(part.positions[1], (Vec3{0, 0, kOne}));
    EXPECT_FLOAT_EQ(radii(part)[0], 0.2f);
    folder.write("three.ppm", ppm(1, 255, {1, 2, 3}));
    scene.take_report();
    ReadParticleTexture(part, "three.ppm");
    EXPECT_EQ(part.particles.size(), 2u);
    EXPECT_EQ(scene.take_report().find("error :( \tobject - three.ppm has no fourth channel"), 0u);
}

} // namespace
} // namespace mh::test
