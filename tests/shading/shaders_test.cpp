// The shader table and what the finish of a shader derives.
// SPDX-License-Identifier: MIT
#include "shading/shaders.h"

#include "frame/report.h"
#include "shading/surface_point.h"
#include "support/fresh_scene.h"
#include "support/replay.h"

#include <array>

#include <gtest/gtest.h>

namespace mh {

namespace {

Vec3& color_of(SurfaceLayer& layer, Element element) {
    return layer.elements[static_cast<std::size_t>(element)].color;
}

Shader shader_with(std::initializer_list<Sideness> sides) {
    Shader shader;
    for (const Sideness side : sides) {
        AddSurfaceLayer(shader);
        shader.layers.back().sideness = side;
    }
    return shader;
}

} // namespace

TEST(ShaderTable, IsSearchedByNameAndStartsWithUndefined) {
    const test::FreshScene scene;
    ASSERT_EQ(Shaders.size(), 1u);
    EXPECT_EQ(color_of(Shaders[0].layers[0], Element::lambertian).x, 0.85f);
    EXPECT_EQ(FindOrAddShader("wood"), 1);
    EXPECT_EQ(FindOrAddShader("wood"), 1);
    EXPECT_EQ(FindShader("wood"), 1);
    EXPECT_EQ(FindShader("Wood"), 0);
    EXPECT_EQ(FindOrAddShader("undefined"), 0);
    EXPECT_EQ(AddShader(), 2);
    EXPECT_EQ(FindShader("undefined"), 0); // the first of a name
}

TEST(ShaderTable, ReportsItsCount) {
    test::FreshScene scene;
    scene.take_report();
    InitializeShaders();
    const std::string report = scene.take_report();
    EXPECT_EQ(report.rfind("shaders                 1  ", 0), 0u) << report;
    EXPECT_NE(report.find(" [ M bytes ]\n" + std::string(80, '_') + "\n\n"), std::string::npos);
}

TEST(FinishShader, GivesEverySideALayer) {
    using enum Sideness;

    struct Case {
        std::initializer_list<Sideness> sides;
        int face, back;
        std::size_t layers;
    };

    for (const Case& c :
         {Case{{}, 1, 1, 1}, Case{{face}, 1, 1, 2}, Case{{back}, 1, 1, 2}, Case{{both}, 1, 1, 1},
          Case{{face, face}, 2, 1, 3}, Case{{both, back, face}, 2, 2, 3}}) {
        Shader shader = shader_with(c.sides);
        FinishShader(shader);
        EXPECT_EQ(shader.face_layers.count, c.face);
        EXPECT_EQ(shader.back_layers.count, c.back);
        EXPECT_EQ(shader.layers.size(), c.layers);
        FinishShader(shader); // nothing happens the second time
        EXPECT_EQ(shader.layers.size(), c.layers);
    }
}

TEST(FinishShader, ListsAtMostSixteenLayers) {
    Shader shader;
    for (int i = 0; i < 300; ++i)
        AddSurfaceLayer(shader);
    FinishShader(shader);
    EXPECT_EQ(shader.face_layers.count, 16);
    EXPECT_EQ(shader.face_layers.index[15], 15);
}

TEST(FinishShader, DerivesFlagsFromColorsAboveTheThreshold) {
    Shader shader = shader_with({Sideness::face, Sideness::back});
    SurfaceLayer& layer = shader.layers[0];
    color_of(layer, Element::roughness) = {0.1f, 0.1f, 0.1f};
    color_of(layer, Element::anisotropy) = {0.3f, 0.0f, 0.0f};
    color_of(layer, Element::angle) = {0.0f, 0.2f, 0.0f};
    color_of(layer, Element::lambertian) = {1.0f / 1024.0f, 0.0f, 0.0f};
    FinishShader(shader);
    EXPECT_FALSE(shader.layers[0].has_roughness); // no glossy colour
    EXPECT_FALSE(shader.layers[0].has_angle);
    EXPECT_FALSE(shader.face.lambertian); // exactly at the threshold
    EXPECT_TRUE(shader.layers[0].plain_diffuse);

    shader.initialised = false;
    color_of(shader.layers[0], Element::glossy) = {0.0f, 0.0f, 0.01f};
    color_of(shader.layers[0], Element::transmissive) = {0.0f, 0.001f, 0.0f};
    color_of(shader.layers[1], Element::emissive) = {2.0f, 0.0f, 0.0f};
    shader.layers[1].virtual_light = true;
    FinishShader(shader);
    EXPECT_TRUE(shader.layers[0].has_anisotropy && shader.layers[0].has_angle);
    EXPECT_TRUE(shader.layers[0].needs_tangents && shader.layers[0].has_diffuse);
    EXPECT_FALSE(shader.layers[0].plain_diffuse);
    EXPECT_TRUE(shader.face.transmissive && shader.back.emissive && shader.back.virtual_light);
    EXPECT_FALSE(shader.face.emissive || shader.face.virtual_light || shader.back.transmissive);
}

TEST(FinishShader, LeavesASlotWithoutItsImageAColor) {
    test::FreshScene scene;
    scene.take_report();
    Shader shader = shader_with({Sideness::both});
    shader.layers[0].elements[0].image = "absent.png";
    shader.layers[0].elements[1].image = "absent.png";
    FinishShader(shader);
    EXPECT_EQ(shader.layers[0].elements[0].image_index, -1);
    EXPECT_FALSE(shader.has_image);
    EXPECT_EQ(scene.take_report(), "error :( \timage - absent.png\tcannot be found\n"
                                       + std::string(80, '_') + "\n\n"); // once an image
}

TEST(PickLayer, FollowsTheWeights) {
    const test::SeededDraws seed(3);
    Shader shader = shader_with({Sideness::both, Sideness::both, Sideness::both, Sideness::face});
    const std::array<float, 3> weights = {0.5f, 0.0f, 1.5f};
    for (std::size_t i = 0; i < weights.size(); ++i)
        color_of(shader.layers[i], Element::weight) = splat(weights[i]);
    FinishShader(shader);
    std::array<int, 4> counts = {};
    constexpr int kDraws = 40000;
    for (int i = 0; i < kDraws; ++i)
        ++counts[static_cast<std::size_t>(pick_layer(shader, {}, false))];
    EXPECT_NEAR(counts[0], kDraws / 4, 350); // four standard deviations
    EXPECT_EQ(counts[1], 0);
    EXPECT_EQ(counts[0] + counts[2], kDraws);
}

TEST(PickLayer, TakesTheLastWithoutWeights) {
    Shader shader = shader_with({Sideness::both, Sideness::both});
    FinishShader(shader);
    EXPECT_EQ(pick_layer(shader, {}, true), 1);
    color_of(shader.layers[0], Element::weight) = splat(-1.0f); // absurd, but an entry comes back
    const int picked = pick_layer(shader, {}, true);
    EXPECT_TRUE(picked == 0 || picked == 1);
}

} // namespace mh
