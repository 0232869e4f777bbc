// Binary mesh files: what they give, and what damaged ones give.
// SPDX-License-Identifier: MIT
#include "geometry/mesh_file.h"

#include "geometry/meshes.h"
#include "geometry/objects.h"

#include <gtest/gtest.h>

namespace mh::test {
namespace {

using MeshFileReader = MeshTest;

template<typename T>
std::string bytes_of(const T& value) {
    return {reinterpret_cast<const char*>(&value), sizeof value};
}

// A square of two triangles, and one triangle whose corners share a position.
std::string square(MeshFileHead head = {}) {
    head.vertices = 4;
    head.triangles = 3;
    head.has_normals = head.has_uvs = 1;
    const std::array<Vec3, 4> corners = {Vec3{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}};
    const std::array<Vec3, 4> normals = {Vec3{0, 0, 1}, {0, 0, 1}, {0, 0, 1}, {0, 0, 2}};
    const std::array<Vec2, 4> uv = {Vec2{0, 0}, {1, 0}, {1, 1}, {0, 0.5f}};
    const std::array<std::uint32_t, 9> faces = {0, 1, 2, 2, 3, 0, 1, 1, 2};
    return bytes_of(head) + bytes_of(corners) + bytes_of(normals) + bytes_of(uv) + bytes_of(faces);
}

Part part_from(const std::string& content) {
    const TemporaryFolder folder;
    folder.write("a.mesh", content);
    Object object;
    AddPart(object);
    ReadMeshFile("a.mesh", object.parts[0]);
    return object.parts[0];
}

TEST_F(MeshFileReader, GivesArraysAsTheyStand) {
    const Part part = part_from(square());
    ASSERT_EQ(part.triangles.size(), 2u);
    EXPECT_EQ(part.triangles[1].vertex, (std::array<std::uint32_t, 3>{2, 3, 0}));
    EXPECT_EQ(part.positions.at(2), (Vec3{1, 1, 0}));
    EXPECT_EQ(uvs(part).at(3).y, 0.5f);
    EXPECT_EQ(part.normals.at(3), pack_unit({0, 0, 1}));
    EXPECT_EQ(scene.take_report(), "");
}

TEST_F(MeshFileReader, LeavesOutFacesWithoutPositions) {
    std::string content = square();
    content.replace(content.size() - 24, 4, bytes_of(std::uint32_t{4}));
    EXPECT_EQ(part_from(content).triangles.size(), 1u);
    EXPECT_NE(scene.take_report().find("1 face with missing positions left out a.mesh"),
              std::string::npos);
}

TEST_F(MeshFileReader, RefusesWhatIsNoWholeFile) {
    MeshFileHead other;
    other.signature[0] = 'X';
    const std::string whole = square();
    MeshFileHead most;
    most.vertices = most.triangles = 0xFFFFFFFFu;
    for (const std::string& content :
         {std::string(), whole.substr(0, 10), whole.substr(0, whole.size() - 1), whole + "x",
          square(other), bytes_of(most)}) {
        EXPECT_TRUE(part_from(content).triangles.empty());
        EXPECT_EQ(scene.take_report().find("error :( \tobject - a.mesh is "), 0u);
    }
}

} // namespace
} // namespace mh::test
