// Scene assembly: root, levels, order of the set-up, instances that cannot be used, light lists.
// SPDX-License-Identifier: MIT
#include "accel/scene_assembly.h"
#include "accel/state.h"
#include "geometry/objects.h"
#include "geometry/state.h"
#include "random_object.h"
#include "scene/scene_reader.h"
#include "shading/state.h"
#include "support/expect.h"
#include "support/fresh_scene.h"

#include <gtest/gtest.h>

namespace mh::test {
namespace {

Object& add_object(const std::string& name, std::uint32_t triangles) {
    Objects.push_back(triangle_row(triangles, {0, 0, 1}));
    Objects.back().name = name;
    return Objects.back();
}

Instance& add_instance(std::size_t parent, const std::string& target, const Vec3& move = {}) {
    Instance& instance = Objects[parent].instances.emplace_back();
    instance.object_name = target;
    instance.matrix = {{{1, 0, 0, move.x}, {0, 1, 0, move.y}, {0, 0, 1, move.z}, {0, 0, 0, 1}}};
    return instance;
}

// The letter behind each place where the report has the label.
std::string letters_behind(const std::string& label, const std::string& report) {
    std::string letters;
    for (std::size_t at = 0; (at = report.find(label, at)) != std::string::npos; ++at)
        letters += report[at + label.size()];
    return letters;
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
}

// Objects are letters; "ab" puts b into a. The last one that nothing refers to is the root of the
// others, and trees are built from the targets up. A level is that of the way that was gone first.
TEST(SceneGraph, HasOneRootAndAnOrderAndNoCycles) {
    const struct {
        std::string objects, edges, built, levels, usable, cut, message;
    } cases[] = {
        {"abc", "ab", "bac", "120", "11", "", "object - c is treated as the root object\n___"},
        {"rxyzt", "rx rz xy yt zt", "tyxzr", "01212", "11111", "", ""},
        {"ab", "ab ba bb", "ba", "01", "100", "b", "error :( \tobject - there is no root object\n"},
    };

    for (const auto& c : cases) {
        FreshScene scene;
        for (const char name : c.objects)
            add_object({name}, 1);
        for (std::size_t i = 0; i < c.edges.size(); i += 3)
            add_instance(c.objects.find(c.edges[i]), {c.edges[i + 1]});
        EXPECT_TRUE(AssembleScene());
        const std::string report = scene.take_report();
        EXPECT_TRUE(contains_text(report, c.message)) << report;
        EXPECT_EQ(letters_behind("bbvh construction for ", report), c.built);
        EXPECT_EQ(letters_behind("instances itself by way of ", report), c.cut);
        std::string levels, usable;
        for (const Object& object : Objects) {
            levels += std::to_string(object.object_level);
            for (const Instance& instance : object.instances)
                usable += instance.usable ? '1' : '0';
        }
        EXPECT_EQ(levels, c.levels);
        EXPECT_EQ(usable, c.usable);
        EXPECT_EQ(RootObjectIndex, c.levels.find('0'));
    }
}

TEST_F(SceneAssembly, InstancesThatCannotBeTracedAreLeftOut) {
    add_object("root", 1);
    add_object("leaf", 1);
    add_object("empty", 0);
    add_object("", 1);
    add_instance(0, "leaf");
    add_instance(0, "");
    add_instance(0, "unknown");
    add_instance(0, "empty");
    add_instance(0, "leaf").matrix.m[1][1] = 0.0f; // singular
    add_instance(0, "leaf", {kInfinity, 0, 0});
    add_instance(0, "leaf", {3e38f, 0, 0}); // too far for areas
    add_instance(0, "leaf").object = 12345;
    add_instance(3, "root");
    EXPECT_TRUE(AssembleScene());
    EXPECT_EQ(RootObjectIndex, 3u);
    const Object& root = Objects[0];
    for (std::size_t i = 0; i < root.instances.size(); ++i)
        EXPECT_EQ(root.instances[i].usable, i == 0) << i;
    EXPECT_EQ(Trees[0].references.size(), 2u);
    EXPECT_EQ(LightListsOfObjects[0].emission_list.size(), 1u); // the instance; no shader emits
    const std::string report = scene.take_report();
    EXPECT_TRUE(contains_text(report, "warning :( \tobject - root instances an object that does "
                                      "not exist: \"unknown\""));
    EXPECT_TRUE(contains_text(report, "root leaves out 4 instances"));
}

TEST_F(SceneAssembly, AnObjectThatNoTreeCanHoldIsLeftOutBeforeTheBuild) {
    Object& object = add_object("dust", 0);
    object.parts[0].positions.emplace_back();
    object.parts[0].particles.assign(69000001, 0);
    EXPECT_TRUE(AssembleScene());
    EXPECT_TRUE(contains_text(scene.take_report(),
                              "object - dust of 69000001 primitives is left out: a tree holds up "
                              "to 69000000"));
    EXPECT_TRUE(Trees[0].nodes.empty());
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
    add_object("leaf", 2);
    Instance& instance = add_instance(0, "leaf");
    instance.matrix = {{{0, -2, 0, 1}, {2, 0, 0, 2}, {0, 0, 2, 3}, {0, 0, 0, 2}}}; // w = 2
    EXPECT_TRUE(AssembleScene());
    EXPECT_EQ(SceneBounds.min, (Vec3{-0.5f, 1, 1.5f}));
    EXPECT_EQ(SceneBounds.max, (Vec3{0.5f, 2, 2.5f}));
    EXPECT_EQ(SceneCenter, (Vec3{0, 1.5f, 2}));
    EXPECT_FLOAT_EQ(SceneRadius, std::sqrt(0.75f));
}

TEST_F(SceneAssembly, LightListsFollowTheSidesAndSumTheTargets) {
    Shader& shader = Shaders.emplace_back();
    shader.name = "lamp";
    shader.face.emissive = shader.back.emissive = shader.back.virtual_light = true;
    add_object("lamp", 2).parts[0].triangles[1].shader = 1; // half a unit, on two sides
    add_object("root", 0);
    add_instance(1, "lamp");
    add_instance(1, "lamp", {5, 0, 0});
    EXPECT_TRUE(AssembleScene());
    std::string sides;
    for (const auto* list :
         {&LightListsOfObjects[0].emission_list, &LightListsOfObjects[0].virtual_light_list})
        for (const LightPrimitive& face : *list)
            sides += (face.front ? 'f' : 'b') + std::to_string(face.index);
    EXPECT_EQ(sides, "f1b1b1");
    EXPECT_FLOAT_EQ(LightListsOfObjects[1].emission_weight, 2.0f);
    EXPECT_FLOAT_EQ(LightListsOfObjects[1].virtual_light_weight, 1.0f);
    EXPECT_EQ(LightListsOfObjects[1].emission_list[1].kind, PrimitiveKind::instance);
    EXPECT_EQ(LightListsOfObjects[1].emission_distribution.size, 2);
}

TEST(TransferRootUvs, StrandsTakeTheUvOfTheNearestFaceUnderTheirRoot) {
    FreshScene scene;
    GeometrySearchPaths = {MOONHARE_SOURCE_DIR "/tests/accel"};
    ASSERT_TRUE(ReadSceneFile(GeometrySearchPaths[0] + "/roots.mh"));
    GeometrySearchPaths.clear();
    Objects[0].parts[1].strand_lengths.push_back(7); // one without cylinders
    AssembleScene();
    const Vec2 expected[] = {{0.25f, 0.75f}, {1.25f, 0.25f}, {0.0f, 0.0f}}; // of each strand
    const std::vector<Vec2>& uv = uvs(Objects[0].parts[1]);
    ASSERT_EQ(uv.size(), 9u);
    for (std::size_t i = 0; i < 9; ++i) {
        EXPECT_NEAR(uv[i].x, expected[i / 3].x, 1e-6f) << i;
        EXPECT_NEAR(uv[i].y, expected[i / 3].y, 1e-6f) << i;
    }
}

} // namespace mh::test
