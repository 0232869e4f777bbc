// Scene assembly: root, levels, order of the set-up, instances that cannot be used, light lists.
// SPDX-License-Identifier: MIT
#include "accel/root_uv.h"
#include "accel/scene_assembly.h"
#include "accel/tree.h"
#include "random_object.h"
#include "shading/types.h"
#include "support/expect.h"
#include "support/fresh_scene.h"

#include <gtest/gtest.h>

namespace mh::test {
namespace {

Object& add_object(const std::string& name, std::uint32_t triangles) {
    Object object = triangle_row(triangles, {0, 0, 1});
    object.name = name;
    Objects.push_back(object);
    return Objects.back();
}

Instance& add_instance(std::size_t parent, const std::string& target, const Vec3& move = {}) {
    Instance instance;
    instance.object_name = target;
    instance.matrix = {{{1, 0, 0, move.x}, {0, 1, 0, move.y}, {0, 0, 1, move.z}, {0, 0, 0, 1}}};
    Objects[parent].instances.push_back(instance);
    return Objects[parent].instances.back();
}

// Names of the objects in the order in which the report says that their trees were built.
std::string order_built(const std::string& report) {
    const std::string label = "bbvh construction for ";
    std::string names;
    for (std::size_t at = report.find(label); at != std::string::npos;
         at = report.find(label, at + 1))
        names += report[at + label.size()];
    return names;
}

bool contains_text(const std::string& report, const std::string& text) {
    return report.find(text) != std::string::npos;
}

struct SceneAssembly : testing::Test {
    FreshScene scene;
};

} // namespace

TEST_F(SceneAssembly, AnEmptyTableIsNoSceneAndAnEmptyRootHasZeroBounds) {
    EXPECT_FALSE(AssembleScene());
    EXPECT_EQ(scene.take_report(), "");
    add_object("nothing", 0);
    EXPECT_TRUE(AssembleScene());
    EXPECT_TRUE(SceneBounds.min == Vec3{} && SceneBounds.max == Vec3{});
    EXPECT_TRUE(Objects[0].tree.nodes.empty());
}

TEST_F(SceneAssembly, TheLastUnreferencedObjectBecomesTheRootOfTheOthers) {
    for (const char* name : {"a", "b", "c"})
        add_object(name, 2);
    add_instance(0, "b", {5, 0, 0});
    EXPECT_TRUE(AssembleScene());
    const std::string report = scene.take_report();
    EXPECT_EQ(report.find("object - c is treated as the root object\n" + std::string(80, '_')), 0u)
        << report;
    EXPECT_EQ(RootObjectIndex, 2u);
    ASSERT_EQ(Objects[2].instances.size(), 1u);
    EXPECT_EQ(Objects[2].instances[0].object, 0u);
    EXPECT_EQ(order_built(report), "bac");
    EXPECT_EQ(Objects[1].object_level, 2u);
    EXPECT_TRUE(SceneBounds.min == Vec3{} && SceneBounds.max == (Vec3{6, 1, 1}));
    EXPECT_FLOAT_EQ(SceneRadius, 0.5f * std::sqrt(38.0f));
    EXPECT_TRUE(SceneCenter == (Vec3{3, 0.5f, 0.5f}));
}

TEST_F(SceneAssembly, TargetsAreSetUpBeforeTheirParentsWhateverTheirLevel) {
    for (const char* name : {"r", "x", "y", "t"})
        add_object(name, 1);
    add_instance(0, "x"); // r > x > y > t, and later on r > t: level 1 is the last word
    add_instance(0, "t");
    add_instance(1, "y");
    add_instance(2, "t", {0, 0, 3});
    EXPECT_TRUE(AssembleScene());
    EXPECT_EQ(order_built(scene.take_report()), "tyxr");
    EXPECT_EQ(Objects[3].object_level, 1u);
    EXPECT_EQ(Objects[2].object_level, 2u);
    EXPECT_FLOAT_EQ(SceneBounds.max.z, 3.0f);
}

TEST_F(SceneAssembly, CyclesAreCutWithOneMessage) {
    add_object("a", 1);
    add_object("b", 1);
    add_instance(0, "b");
    add_instance(1, "a");
    add_instance(1, "b");
    EXPECT_TRUE(AssembleScene());
    const std::string report = scene.take_report();
    EXPECT_TRUE(contains_text(report, "error :( \tobject - there is no root object\n"));
    EXPECT_EQ(RootObjectIndex, 0u);
    EXPECT_EQ(Objects[0].object_level, 0u);
    EXPECT_TRUE(Objects[0].instances[0].usable);
    EXPECT_FALSE(Objects[1].instances[0].usable || Objects[1].instances[1].usable);
    const std::size_t first = report.find("instances itself");
    ASSERT_NE(first, std::string::npos);
    EXPECT_EQ(report.find("instances itself", first + 1), std::string::npos);
}

TEST_F(SceneAssembly, InstancesThatCannotBeTracedAreLeftOut) {
    add_object("root", 1);
    add_object("leaf", 1);
    add_object("empty", 0);
    add_object("", 1);
    add_instance(0, "leaf");
    add_instance(0, "unknown");
    add_instance(0, "empty");
    add_instance(0, "");
    add_instance(0, "leaf").matrix.m[1][1] = 0.0f; // singular
    add_instance(0, "leaf").matrix.m[0][3] = kInfinity;
    add_instance(0, "leaf", {3e38f, 0, 0}); // too far for areas
    add_instance(0, "leaf").object = 12345;
    add_instance(3, "root");
    EXPECT_TRUE(AssembleScene());
    EXPECT_EQ(RootObjectIndex, 3u);
    const Object& root = Objects[0];
    for (std::size_t i = 0; i < root.instances.size(); ++i)
        EXPECT_EQ(root.instances[i].usable, i == 0) << i;
    EXPECT_EQ(root.tree.references.size(), 2u);
    EXPECT_EQ(root.emission_list.size(), 1u); // the instance; no shader emits
    const std::string report = scene.take_report();
    EXPECT_TRUE(contains_text(report, "warning :( \tobject - root instances an object that does "
                                      "not exist: \"unknown\""));
    EXPECT_TRUE(contains_text(report, "root leaves out 4 instances"));
}

TEST_F(SceneAssembly, LongChainsAndManyPathsTakeLinearTime) {
    constexpr std::size_t kObjects = 3000;
    for (std::size_t i = 0; i < kObjects; ++i) // each twice in the one before: 2^2999 paths
        add_object(std::to_string(i), i + 1 == kObjects ? 1 : 0);
    for (std::size_t i = 0; i + 1 < kObjects; ++i) {
        add_instance(i, std::to_string(i + 1));
        add_instance(i, std::to_string(i + 1), {1e-3f, 0, 0});
    }
    EXPECT_TRUE(AssembleScene());
    EXPECT_EQ(Objects[kObjects - 1].object_level, kObjects - 1);
    EXPECT_NEAR(SceneBounds.max.x, 1.0f + 2.999f, 1e-3f);
}

TEST_F(SceneAssembly, AnInstanceBoxHoldsTheTransformedCorners) {
    add_object("root", 0);
    add_object("leaf", 1);
    Instance& instance = add_instance(0, "leaf");
    instance.matrix = {{{0, -2, 0, 1}, {2, 0, 0, 2}, {0, 0, 2, 3}, {0, 0, 0, 2}}}; // w = 2
    EXPECT_TRUE(AssembleScene());
    EXPECT_TRUE(SceneBounds.min == (Vec3{-0.5f, 1, 1.5f})) << SceneBounds.min.x;
    EXPECT_TRUE(SceneBounds.max == (Vec3{0.5f, 2, 1.5f})) << SceneBounds.max.x;
}

TEST_F(SceneAssembly, LightListsFollowTheSidesAndSumTheTargets) {
    Shaders.emplace_back();
    Shaders.back().name = "lamp";
    Shaders.back().face.emissive = Shaders.back().back.emissive = true;
    Shaders.back().back.virtual_light = true;
    add_object("lamp", 2).parts[0].triangles[1].shader = 1;
    add_object("root", 0);
    add_instance(1, "lamp");
    add_instance(1, "lamp", {5, 0, 0});
    EXPECT_TRUE(AssembleScene());
    const std::string report = scene.take_report();
    EXPECT_FALSE(contains_text(report, "root object") || contains_text(report, ":("));
    const Object& lamp = Objects[0];
    ASSERT_EQ(lamp.emission_list.size(), 2u);
    EXPECT_TRUE(lamp.emission_list[0].front && !lamp.emission_list[1].front);
    EXPECT_EQ(lamp.emission_list[1].index, 1u);
    ASSERT_EQ(lamp.virtual_light_list.size(), 1u);
    EXPECT_FALSE(lamp.virtual_light_list[0].front);
    EXPECT_FLOAT_EQ(lamp.emission_weight, 1.0f); // half a unit, twice
    EXPECT_FLOAT_EQ(Objects[1].emission_weight, 2.0f);
    EXPECT_FLOAT_EQ(Objects[1].virtual_light_weight, 1.0f);
    EXPECT_EQ(Objects[1].emission_list[1].kind, PrimitiveKind::instance);
    EXPECT_EQ(Objects[1].emission_distribution.size, 2);
}

TEST(TransferRootUvs, StrandsTakeTheUvOfTheNearestFaceUnderTheirRoot) {
    Object object;
    object.parts.assign(2, empty_part());
    Part &faces = object.parts[0], &hair = object.parts[1];
    faces.positions = {{0, 0, 0},  {2, 0, 0},  {2, 2, 0},    {0, 2, 0}, // a quad with uv = xy / 2
                       {2, 0, 0},  {4, 0, 0},  {2, 2, 0.5f},            // and a tilted triangle
                       {0, 0, -1}, {2, 0, -1}, {0, 2, -1}}; // and one far below the quad
    uvs(faces) = {{0, 0}, {1, 0}, {1, 1}, {0, 1}, {1, 0}, {2, 0}, {1, 1}, {9, 9}, {9, 9}, {9, 9}};
    faces.tetragons = {{{0, 1, 2, 3}, 0}};
    faces.triangles = {{{4, 5, 6}, 0}, {{7, 8, 9}, 0}};
    hair.positions = {{0.5f, 1.5f, 0},      {0.5f, 1.5f, 1}, {0.5f, 1.5f, 2}, // on the quad
                      {2.5f, 0.5f, 0.125f}, {2.5f, 0.5f, 1},                  // on the triangle
                      {3.9f, 1.9f, 0.1f},   {3.9f, 1.9f, 1}};                 // beside both
    hair.tangents.resize(7);
    radii(hair).assign(7, 0.01f);
    hair.cylinders = {0, 1, 3, 5};
    hair.strand_lengths = {2, 1, 1, 7}; // the last has no cylinders
    printed_by([&] { Build(object); });
    Update(object);
    TransferRootUvs(object);
    const std::vector<Vec2>& uv = uvs(hair);
    ASSERT_EQ(uv.size(), 7u);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_NEAR(uv[i].x, 0.25f, 1e-6f);
        EXPECT_NEAR(uv[i].y, 0.75f, 1e-6f);
    }
    EXPECT_NEAR(uv[4].x, 1.25f, 1e-6f);
    EXPECT_NEAR(uv[4].y, 0.25f, 1e-6f);
    EXPECT_TRUE(uv[5] == Vec2{} && uv[6] == Vec2{});
}

} // namespace mh::test
