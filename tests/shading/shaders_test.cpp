// The shader table and what the finish of a shader derives.
// SPDX-License-Identifier: MIT
#include "shading/shaders.h"

#include "hit/surface_builder.h"
#include "math/at.h"
#include "math/random.h"
#include "shading/state.h"
#include "support/expect.h"
#include "support/fresh_scene.h"
#include "support/replay.h"

#include <algorithm>
#include <array>
#include <random>
#include <tuple>

#include <gtest/gtest.h>

namespace mh::test {
namespace {

Shader shader_with(const std::vector<Sideness>& sides) {
    Shader shader;
    for (const Sideness side : sides) {
        AddSurfaceLayer(shader);
        shader.layers.back().sideness = side;
    }
    return shader;
}

TEST(FinishShader, GivesEverySideALayerAndAtMostSixteen) {
    using enum Sideness;

    const std::tuple<std::vector<Sideness>, int, int, std::size_t> cases[] = {
        {{}, 1, 1, 1},
        {{face}, 1, 1, 2},
        {{back}, 1, 1, 2},
        {{both}, 1, 1, 1},
        {{face, face}, 2, 1, 3},
        {{both, back, face}, 2, 2, 3},
        {std::vector<Sideness>(300, both), 16, 16, 300}};
    for (const auto& [sides, of_face, of_back, layers] : cases) {
        Shader shader = shader_with(sides);
        for (int run = 0; run < 2; ++run) { // nothing happens the second time
            FinishShader(shader);
            EXPECT_EQ(shader.face_layers.count, of_face);
            EXPECT_EQ(shader.back_layers.count, of_back);
            EXPECT_EQ(shader.layers.size(), layers);
        }
    }
}

TEST(FinishShader, DerivesFlagsFromColorsAboveTheThreshold) {
    Shader shader = shader_with({Sideness::face, Sideness::back});
    for (const Element element : {Element::roughness, Element::anisotropy, Element::angle})
        slot(shader, element).color = {0.0f, 0.2f, 0.0f};
    slot(shader, Element::lambertian).color = {1.0f / 1024.0f, 0.0f, 0.0f};
    FinishShader(shader);
    const CompiledLayer smooth = shader.compiled_layers[0];
    EXPECT_FALSE(smooth.has_roughness || smooth.has_anisotropy || smooth.has_angle); // not glossy
    EXPECT_FALSE(shader.face.lambertian); // exactly at the threshold
    EXPECT_TRUE(smooth.plain_diffuse);

    shader.initialised = false;
    slot(shader, Element::glossy).color = {0.0f, 0.0f, 0.01f};
    slot(shader, Element::transmissive).color = {0.0f, 0.001f, 0.0f};
    slot(shader, Element::emissive, 1).color = {2.0f, 0.0f, 0.0f};
    shader.layers[1].virtual_light = true;
    FinishShader(shader);
    const CompiledLayer& rough = shader.compiled_layers[0];
    EXPECT_TRUE(rough.has_anisotropy && rough.has_angle && !rough.plain_diffuse);
    EXPECT_EQ(shader.compiled_layers.size(), 2u); // made anew, not added
    EXPECT_TRUE(shader.face.transmissive && shader.back.emissive && shader.back.virtual_light);
    EXPECT_FALSE(shader.face.emissive || shader.face.virtual_light || shader.back.transmissive);
}

TEST(FinishShader, LeavesASlotWithoutItsImageAColor) {
    FreshScene scene;
    scene.take_report();
    Shader shader = shader_with({Sideness::both});
    shader.layers[0].elements[0].image = shader.layers[0].elements[1].image = "absent.png";
    FinishShader(shader);
    EXPECT_EQ(shader.layers[0].elements[0].image_index, -1);
    EXPECT_FALSE(shader.has_image);
    EXPECT_EQ(scene.take_report(), "error :( \timage - absent.png\tcannot be found\n" + kRule);
}

TEST(PickLayer, FollowsTheWeights) {
    const SeededDraws seed(3);
    Shader shader = shader_with({Sideness::both, Sideness::both, Sideness::both, Sideness::face});
    for (const auto& [layer, weight] : {std::pair{0u, 0.5f}, {1u, 0.0f}, {2u, 1.5f}})
        slot(shader, Element::weight, layer).color = splat(weight);
    FinishShader(shader);
    std::array<int, 4> counts = {};
    constexpr int kDraws = 40000;
    for (int i = 0; i < kDraws; ++i)
        ++at(counts, pick_layer(shader, {}, false, random_unit()));
    EXPECT_NEAR(counts[0], kDraws / 4, 350); // four standard deviations
    EXPECT_EQ(counts[1], 0);
    EXPECT_EQ(counts[0] + counts[2], kDraws);
    // Absurd weights, but an entry comes back.
    for (const std::size_t layer : {0u, 1u, 2u})
        slot(shader, Element::weight, layer).color = splat(-1.0f);
    EXPECT_LT(static_cast<unsigned>(pick_layer(shader, {}, false, random_unit())), 3u);
}

TEST(FindShader, AgreesWithASearchWhileShadersComeGoAndChangeTheirNames) {
    FreshScene scene;
    std::minstd_rand generator(5);
    const auto drawn = [&](std::size_t limit) { return generator() % limit; };
    for (int step = 0; step < 3000; ++step) {
        const std::string name = std::to_string(drawn(40));
        const auto found = std::find_if(Shaders.begin(), Shaders.end(),
                                        [&](const Shader& shader) { return shader.name == name; });
        const int wanted = found == Shaders.end() ? -1 : static_cast<int>(found - Shaders.begin());
        ASSERT_EQ(FindNamedShader(name), wanted) << step;
        ASSERT_EQ(FindShader(name), std::max(wanted, 0));
        const std::size_t kind = drawn(100), count = Shaders.size();
        if (kind == 0) {
            FinalizeShaders();
            CreateUndefinedShader();
        } else if (kind < 40) {
            RenameShader(Shaders[drawn(count)], name);
        } else {
            ASSERT_EQ(FindOrAddShader(name), wanted < 0 ? static_cast<int>(count) : wanted);
        }
    }
}

} // namespace
} // namespace mh::test
