// OBJ text to welded parts: indices, quads, messages, absurd files.
// SPDX-License-Identifier: MIT
#include "geometry/obj_reader.h"

#include "geometry/meshes.h"
#include "geometry/objects.h"
#include "geometry/state.h"
#include "math/at.h"
#include "shading/shaders.h"
#include "shading/state.h"

#include <tuple>

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

std::vector<Vec3> corners(const Part& part, std::size_t i) {
    std::vector<Vec3> points;
    for (const std::uint32_t v : part.triangles.at(i).vertex)
        points.push_back(part.positions[v]);
    return points;
}

TEST_F(ObjReader, ResolvesAbsoluteAndRelativeIndices) {
    const Part part = part_from_obj("v 0 0 0\nv 1 0 0\nv 0 1 0\nf -3 -2 -1\n v 0 0 5 \r\n"
                                    "\tf\t4/9/9 \t2// 3/-1\r\nf 1 2\nf 1 2 3x/a/b/c/d\n");
    ASSERT_EQ(part.triangles.size(), 3u);
    EXPECT_EQ(corners(part, 0), (std::vector<Vec3>{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}));
    EXPECT_EQ(corners(part, 1)[0], (Vec3{0, 0, 5}));
    EXPECT_EQ(part.normals.size(), part.positions.size()); // zero triples where there are none
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

TEST_F(ObjReader, PassesOverAByteOrderMark) {
    EXPECT_EQ(load_obj("\xEF\xBB\xBF"
                       "v 7 8 9\nv 1 2 3\n")
                  .positions.at(0),
              (Vec3{7, 8, 9}));
}

TEST_F(ObjReader, CountsIndicesFromTheStartOfEachFile) {
    const MeshLoader loader =
        load_obj("v 0 0 0\nv 1 0 0\nv 0 1 0\nvt 1 0\nvn 0 0 1\nf 1/1/1 2/1/1 3/1/1\n", 2);
    ASSERT_EQ(loader.triangles.size(), 2u);
    EXPECT_EQ(loader.triangles[1].corner[2], (LoaderCorner{5, 1, 1, kAbsent}));
}

TEST_F(ObjReader, KeepsQuadsOnlyWhenFlatAndRectangular) {
    const std::tuple<std::string, std::size_t, std::size_t> cases[] = {
        {kSquare + "f 1 2 3 4\n", 0, 1},           // square
        {kSquare + "f 1 2 5 3\n", 2, 0},           // rhombus-like
        {kSquare + "f 1 2 6 4\n", 2, 0},           // not flat
        {kSquare + "f 1 2 3 99\nv 0 9 0\n", 1, 0}, // one half misses a position
        {kSquare + "f 1 2 3 # half\nf 1 2 3 4 #\nf 1 3 4 0 0\n", 2, 1},
        {"f 1 2 3 4\n" + kSquare, 2, 0}}; // nothing is known of its shape yet
    for (const auto& [text, triangles, tetragons] : cases) {
        const Part part = part_from_obj(text);
        EXPECT_EQ(part.triangles.size(), triangles) << text;
        EXPECT_EQ(part.tetragons.size(), tetragons) << text;
    }
}

TEST_F(ObjReader, MakesTrianglesOfDegenerateQuads) {
    for (const char* face :
         {"f 1 2 3 3", "f 1 2 3 2", "f 1 2 3 1", "f 1 2 2 3", "f 1 2 1 3", "f 1 1 2 3"}) {
        const Part part = part_from_obj(kSquare + face + "\n" + face + "\n");
        EXPECT_EQ(scene.take_report(), kDegenerate) << face;
        EXPECT_EQ(corners(part, 1), (std::vector<Vec3>{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}})) << face;
    }
}

TEST_F(ObjReader, ReportsEachFaultOnce) {
    const Part part = part_from_obj(kSquare + "f 1 2 3 4 5\nf 1 2 3 4 5 6 7 8 9 10 11\n");
    EXPECT_TRUE(part.triangles.empty());
    EXPECT_EQ(scene.take_report(), kPolygons);
    MeshLoader loader;
    ReadObj(loader, "/no/such.obj");
    EXPECT_EQ(scene.take_report(), "error :( \tobject - cannot open /no/such.obj\n" + kRule);
    const std::tuple<const char*, std::size_t, const char*> outside[] = {
        {"f 1 2 7\nf 0 1 2\nf 1 2 -9\nf 1 2 3\n", 1, "3 faces with missing positions"},
        {"f 1 2 3 7\nf 7 1 2 3\nf 1 7 2 3\n", 2, "3 faces with missing positions"},
        {"f 1 2 3 4\nf 7 1 2 3\n", 0, "1 face with missing positions"}};
    for (const auto& [faces, triangles, count] : outside) {
        EXPECT_EQ(part_from_obj(kSquare + faces).triangles.size(), triangles) << faces;
        const std::string report = scene.take_report();
        EXPECT_EQ(report.find(std::string("warning :( \tobject - ") + count), 0u) << report;
    }
}

// An L of six corners in two lines, seen from either side.
TEST_F(ObjReader, SplitsPolygonsWhenItIsTold) {
    const TemporaryFolder folder;
    const std::string corners = "v 0 0 0\nv 2 0 0\nv 2 1 0\nv 1 1 0\nv 1 2 0\nv 0 2 0\n";
    for (const char* face : {"f 1 2 3 \\\r\n 4 5 6\n", "f 6 5 4 3 \\\n2 1\n", "f 4 5 6 1 2 3\n"}) {
        folder.write("l.obj", corners + "# a comment \\\n" + face);
        MeshLoader loader;
        loader.splits_polygons = true;
        ReadObj(loader, "l.obj");
        ASSERT_EQ(loader.triangles.size(), 4u) << face;
        double area = 0.0;
        for (const LoaderFace& triangle : loader.triangles) {
            const Vec3& a = loader.positions[triangle.corner[0].position];
            const Vec3& b = loader.positions[triangle.corner[1].position];
            const Vec3& c = loader.positions[triangle.corner[2].position];
            const float part = 0.5f * cross(b - a, c - a).z * (face[2] == '6' ? -1.0f : 1.0f);
            EXPECT_GT(part, 0.0f) << face;
            area += part;
        }
        EXPECT_EQ(area, 3.0) << face;
    }
    EXPECT_EQ(scene.take_report(), "");
}

TEST_F(ObjReader, TellsWhyAFileGivesNothing) {
    const std::pair<std::string, std::string> cases[] = {
        {"", "it is empty"},
        {"\x1f\x8b\x08", "gzip"},
        {"\xff\xfev", "UTF-16"},
        {"v 0 0 0\rv 1 0 0\rf 1 1 1\r", "CR alone"},
        {"v 0 0 0\n", "no faces\n"}};
    for (const auto& [text, reason] : cases) {
        load_obj(text);
        const std::string report = scene.take_report();
        EXPECT_EQ(report.find("warning :( \tobject - a.obj gives no faces"), 0u) << report;
        EXPECT_NE(report.find(reason), report.npos) << report;
    }
}

TEST_F(ObjReader, TakesShadersByName) {
    const int red = AddShader();
    at(Shaders, red).name = "red";
    const MeshLoader loader = load_obj(kSquare
                                       + "f 1 2 3\nusemtl red\r\nf 1 2 4\nusemtl nobody\nf 1 3 4\n"
                                         "usemtlred red\nf 2 3 4\nusemtl\nf 2 3 5\n");
    std::vector<int> shaders;
    for (const LoaderFace& face : loader.triangles)
        shaders.push_back(face.shader);
    EXPECT_EQ(shaders, (std::vector<int>{0, red, 0, red, 0}));
}

TEST_F(ObjReader, ComparesItsOwnSizeWithTheMemoryThatIsFree) {
    const FakeMachine full(24e9, 0.0);
    const auto faces = [](int count) {
        std::string text = kSquare;
        for (int i = 0; i < count; ++i)
            text += "f 1 2 3\n";
        return load_obj(text).triangles.size();
    };
    EXPECT_EQ(faces(100000), 100000u); // of 8 MB, whatever the process holds
    EXPECT_EQ(scene.take_report(), "");
    EXPECT_LT(faces(400000), 400000u);
    EXPECT_NE(scene.take_report().find("a.obj needs more memory than there is; it is read up to"),
              std::string::npos);
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
    constexpr std::size_t kSide = 200;
    std::string text;
    for (std::size_t i = 0; i < kSide * kSide; ++i) {
        const std::string x = std::to_string(i % kSide), y = std::to_string(i / kSide);
        text += "v " + x + " " + y + " 0\nv " + std::to_string(i % kSide + 1) + " " + y + " 0\nv "
                + x + " " + std::to_string(i / kSide + 1) + " 0\nf -3 -2 -1\n";
    }
    const Part part = part_from_obj(text);
    EXPECT_EQ(part.triangles.size(), kSide * kSide);
    EXPECT_EQ(part.positions.size(), (kSide + 1) * (kSide + 1) - 1);
}

TEST(FindGeometryFile, TakesTheFirstFolderThatHasIt) {
    const TemporaryFolder folder;
    for (const char* file : {"a/mesh.obj", "b/mesh.obj", "b/sub/other.obj"})
        folder.write(file, "");
    GeometrySearchPaths = {"none", "a", "b"};
    EXPECT_EQ(FindGeometryFile("mesh.obj"), "a/mesh.obj");
    EXPECT_EQ(FindGeometryFile("sub\\other.obj"), "b/sub/other.obj");
    EXPECT_EQ(FindGeometryFile("sub"), "sub"); // a folder is no file
    EXPECT_EQ(FindGeometryFile("no\\such.obj"), "no\\such.obj");
    GeometrySearchPaths.clear();
}

} // namespace
} // namespace mh::test
