// OBJ text to welded parts: indices, quads, messages, absurd files.
// SPDX-License-Identifier: MIT
#include "geometry/obj_reader.h"

#include "geometry/meshes.h"
#include "geometry/objects.h"
#include "shading/shaders.h"

#include <random>

#include <gtest/gtest.h>

namespace mh::test {
namespace {

using ObjReader = MeshTest;
using Assembly = MeshTest;

const std::string kPolygons =
    "warning :( \tobject - please triangulate/quadrangulate the input model(s)\n" + kRule;
const std::string kDegenerate = "warning :( \tobject - there are degenerated quadrangles\n" + kRule;

// A unit square and two more points.
const std::string kSquare = "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nv 2 1 0\nv 0.5 0 3\n";

std::array<Vec3, 3> corners(const Part& part, std::size_t i) {
    const auto& v = part.triangles[i].vertex;
    return {part.positions[v[0]], part.positions[v[1]], part.positions[v[2]]};
}

TEST_F(ObjReader, ResolvesAbsoluteAndRelativeIndices) {
    const Part part = part_from_obj("v 0 0 0\nv 1 0 0\nv 0 1 0\nf -3 -2 -1\n v 0 0 5 \r\n"
                                    "\tf\t4/9/9 \t2// 3/-1\r\nf 1 2\nf 1 2 3x/a/b/c/d\n");
    ASSERT_EQ(part.triangles.size(), 3u);
    EXPECT_EQ(corners(part, 0), (std::array<Vec3, 3>{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}}));
    EXPECT_EQ(corners(part, 1)[0], (Vec3{0, 0, 5}));
    EXPECT_EQ(part.normals.size(), part.positions.size()); // zero triples where there are none
    EXPECT_EQ(part.tangents.size(), part.positions.size());
}

// Loads a file that is there.
MeshLoader load_obj(const std::string& text, int times = 1) {
    const TemporaryFolder folder;
    folder.write("a.obj", text);
    MeshLoader loader;
    for (int i = 0; i < times; ++i)
        ReadObj(loader, "a.obj");
    return loader;
}

TEST_F(ObjReader, CountsIndicesFromTheStartOfEachFile) {
    const MeshLoader loader =
        load_obj("v 0 0 0\nv 1 0 0\nv 0 1 0\nvt 1 0\nvn 0 0 1\nf 1/1/1 2/1/1 3/1/1\n", 2);
    ASSERT_EQ(loader.triangles.size(), 2u);
    EXPECT_EQ(loader.triangles[1].corner[2], (LoaderCorner{5, 1, 1, kAbsent}));
}

TEST_F(ObjReader, KeepsQuadsOnlyWhenFlatAndRectangular) {
    const struct {
        const char* face;
        std::size_t triangles, tetragons;
    } cases[] = {
        {"f 1 2 3 4\n", 0, 1},           // square
        {"f 1 2 5 3\n", 2, 0},           // rhombus-like
        {"f 1 2 6 4\n", 2, 0},           // not flat
        {"f 1 2 3 99\nv 0 9 0\n", 1, 0}, // one half misses a position
        {"f 1 2 3\n", 1, 0},
        {"f 1 2\nf\nf \n", 0, 0},
    };

    for (const auto& c : cases) {
        const Part part = part_from_obj(kSquare + c.face);
        EXPECT_EQ(part.triangles.size(), c.triangles) << c.face;
        EXPECT_EQ(part.tetragons.size(), c.tetragons) << c.face;
    }
    // Positions that follow the face: nothing is known of its shape, so it is split.
    EXPECT_EQ(part_from_obj("f 1 2 3 4\n" + kSquare).triangles.size(), 2u);
}

TEST_F(ObjReader, MakesTrianglesOfDegenerateQuads) {
    for (const char* face :
         {"f 1 2 3 3", "f 1 2 3 2", "f 1 2 3 1", "f 1 2 2 3", "f 1 2 1 3", "f 1 1 2 3"}) {
        const Part part = part_from_obj(kSquare + face + "\n" + face + "\n");
        EXPECT_EQ(scene.take_report(), kDegenerate) << face;
        ASSERT_EQ(part.triangles.size(), 2u);
        EXPECT_EQ(corners(part, 0), (std::array<Vec3, 3>{{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}}}))
            << face;
    }
}

TEST_F(ObjReader, ReportsEachFaultOnce) {
    const Part part = part_from_obj(kSquare + "f 1 2 3 4 5\nf 1 2 3 4 5 6 7 8 9 10 11\n");
    EXPECT_TRUE(part.triangles.empty());
    EXPECT_EQ(scene.take_report(), kPolygons);
    MeshLoader loader;
    ReadObj(loader, "/no/such.obj");
    EXPECT_EQ(scene.take_report(), "error :( \tobject - cannot open /no/such.obj\n" + kRule);
    const Part outside = part_from_obj(kSquare + "f 1 2 7\nf 0 1 2\nf 1 2 -9\nf 1 2 3\n");
    EXPECT_EQ(outside.triangles.size(), 1u);
    const std::string report = scene.take_report();
    EXPECT_EQ(report.find("warning :( \tobject - 3 faces"), 0u) << report;
}

TEST_F(ObjReader, TakesShadersByName) {
    const int red = AddShader();
    Shaders[static_cast<std::size_t>(red)].name = "red";
    const MeshLoader loader = load_obj(kSquare
                                       + "f 1 2 3\nusemtl red\r\nf 1 2 4\nusemtl nobody\nf 1 3 4\n"
                                         "usemtlred red\nf 2 3 4\nusemtl\nf 2 3 5\n");
    std::vector<int> shaders;
    for (const LoaderFace& face : loader.triangles)
        shaders.push_back(face.shader);
    EXPECT_EQ(shaders, (std::vector<int>{0, red, 0, red, 0}));
}

TEST_F(Assembly, WeldsWhatAgreesInEverything) {
    const std::string quad = "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nv -0 -0 0\nv 1 1 0\n"
                             "vt 0 0\nvt 1 1\nvn 0 0 1\nvn 0 1 0\nvn 0 0 5\n";
    const std::pair<const char*, std::size_t> cases[] = {
        {"f 1 2 3\nf 5 6 4\n", 4},
        {"f 1/1 2/1 3/1\nf 1/2 3/1 4/1\n", 5},
        {"f 1//1 2//1 3//1\nf 1//2 3//3 4//1\n", 5}};
    for (const auto& [faces, positions] : cases)
        EXPECT_EQ(part_from_obj(quad + faces).positions.size(), positions) << faces;
    // Equal positions under different indices
    EXPECT_TRUE(part_from_obj(quad + "f 1 2 5\nf 5 1 2\nf 1 5 2\n").triangles.empty());
}

// Every vertex of a grid of integers is found again, and the table stays fast on it.
TEST_F(Assembly, WeldsGridsOfIntegers) {
    constexpr int kSide = 200;
    std::string text;
    for (int i = 0; i < kSide * kSide; ++i) {
        const auto vertex = [&](int dx, int dy) {
            text += "v " + std::to_string(i % kSide + dx) + " " + std::to_string(i / kSide + dy)
                    + " 0\n";
        };
        vertex(0, 0);
        vertex(1, 0);
        vertex(0, 1);
        text += "f -3 -2 -1\n";
    }
    const Part part = part_from_obj(text);
    EXPECT_EQ(part.triangles.size(), std::size_t{kSide} * kSide);
    EXPECT_EQ(part.positions.size(), std::size_t{kSide + 1} * (kSide + 1) - 1);
}

// Whatever the text, what comes out indexes what is there.
TEST_F(ObjReader, SurvivesRandomText) {
    std::mt19937 random(11);
    const std::string words[] = {"v ", "vn ", "vt ", "f ",  "usemtl ", "\n",
                                 "/",  "-1",  "2",   "1e9", "nan",     "3",
                                 " ",  "\t",  "//",  "x",   "1",       "-99999999999"};
    for (int i = 0; i < 100; ++i) {
        std::string text = kSquare;
        for (int n = 0; n < 400; ++n)
            text += words[random() % std::size(words)];
        if (i % 3 == 0) text[random() % text.size()] = '\0';
        const Part part = part_from_obj(text);
        for (const Triangle& t : part.triangles)
            for (const std::uint32_t v : t.vertex)
                ASSERT_LT(v, part.positions.size());
        ASSERT_EQ(uvs(part).size(), part.positions.size());
        ASSERT_EQ(part.normals.size(), part.positions.size());
    }
}

TEST(FindGeometryFile, TakesTheFirstFolderThatHasIt) {
    const TemporaryFolder folder;
    folder.write("a/mesh.obj", "");
    folder.write("b/mesh.obj", "");
    folder.write("b/sub/other.obj", "");
    GeometrySearchPaths = {folder.path + "none", folder.path + "a", folder.path + "b"};
    EXPECT_EQ(FindGeometryFile("mesh.obj"), folder.path + "a/mesh.obj");
    EXPECT_EQ(FindGeometryFile("sub\\other.obj"), folder.path + "b/sub/other.obj");
    EXPECT_EQ(FindGeometryFile("sub"), "sub"); // a folder is no file
    EXPECT_EQ(FindGeometryFile("no\\such.obj"), "no\\such.obj");
    GeometrySearchPaths.clear();
}

} // namespace
} // namespace mh::test
