// Point and parallel lights against closed forms; links, sample counts, light AOVs.
// SPDX-License-Identifier: MIT
#include "frame/types.h"
#include "geometry/objects.h"
#include "light_scene.h"
#include "lights/gaffer.h"
#include "lights/light_sampling.h"
#include "output/aov.h"
#include "shading/scattering.h"
#include "shading/shaders.h"

#include <cmath>

#include <gtest/gtest.h>

namespace mh {

namespace {

using test::LightScene;
using test::LitPoint;

constexpr float kFourPi = 4.0f * kPi;

// A direction at an angle to the vertical.
Vec3 tilted(float degrees) {
    const float a = degrees * kRadiansPerDegree;
    return {std::sin(a), 0.0f, std::cos(a)};
}

ParallelLight& add_parallel(const Vec3& direction) {
    ParallelLight& light = ParallelLights[static_cast<std::size_t>(AddParallelLight())];
    light.axis = direction;
    return light;
}

PointLight& add_point(const Vec3& position) {
    PointLight& light = PointLights[static_cast<std::size_t>(AddPointLight())];
    light.position = position;
    light.outer_angle = light.inner_angle = 181.0f; // full in all directions
    return light;
}

std::uint64_t shadow_rays() {
    return ThreadStates[0].shadow_rays;
}

} // namespace

TEST(ParallelLight, LightsAWhiteSurfaceWithItsColour) {
    LightScene scene;
    add_parallel({0.0f, 0.0f, -2.0f}).color = {0.25f, 1.0f, 4.0f};
    InitializeGaffer();
    const LitPoint lit;
    const LightSplit light = sum_analytic_lights(lit.ray, lit.point);
    EXPECT_EQ(light.to_lambertian, (Vec3{0.25f, 1.0f, 4.0f}));
    EXPECT_EQ(light.to_glossy, Vec3{});
    EXPECT_EQ(light.to_specular, Vec3{});
}

TEST(ParallelLight, EndsBeforeTheHorizonByItsOffset) {
    for (const float offset : {0.0f, 0.1f, 0.5f, 1.0f}) {
        for (float degrees = 0.0f; degrees <= 180.0f; degrees += 7.5f) {
            LightScene scene;
            ParallelLight& light = add_parallel(-tilted(degrees));
            light.offset = offset;
            InitializeGaffer();
            LitPoint lit;
            lit.point.transmissive_active = true;
            lit.point.transmittance = 0.5f;
            const std::uint64_t before = shadow_rays();
            const LightSplit split = direct_parallel(light, lit.ray, lit.point);
            const float c = std::cos(degrees * kRadiansPerDegree);
            const float kd = c > offset ? (c - offset) / (1.0f - offset) : 0.0f;
            const float kt = -c > offset ? (-c - offset) / (1.0f - offset) : 0.0f;
            EXPECT_NEAR(split.to_lambertian.y, 0.5f * kd, 1e-6f) << offset << " " << degrees;
            EXPECT_NEAR(split.to_transmissive.y, 0.5f * kt, 1e-6f) << offset << " " << degrees;
            EXPECT_EQ(shadow_rays() - before, kd > 0.0f || kt > 0.0f ? 1u : 0u) << degrees;
        }
    }
}

TEST(ParallelLight, ReachesTheGlossyLayerByTheLobe) {
    LightScene scene;
    ParallelLight& light = add_parallel(-tilted(40.0f));
    InitializeGaffer();
    LitPoint lit;
    lit.point.lambertian_active = false;
    lit.point.glossy_active = true;
    lit.point.roughness_u = 0.4f;
    lit.point.roughness_v = 0.2f;
    lit.point.outgoing = tilted(-30.0f);
    lit.point.reflectance = 0.25f;
    const LightSplit split = direct_parallel(light, lit.ray, lit.point);
    const float lobe = ward_lobe(tilted(-30.0f), tilted(40.0f), lit.point);
    const float expected = lobe * std::cos(40.0f * kRadiansPerDegree) * kFourPi * 0.25f;
    EXPECT_GT(expected, 0.0f);
    EXPECT_NEAR(split.to_glossy.x, expected, 1e-5f * expected);
    lit.point.reflectance = 0.0f; // index 1
    const std::uint64_t before = shadow_rays();
    EXPECT_EQ(direct_parallel(light, lit.ray, lit.point).to_glossy, Vec3{});
    EXPECT_EQ(shadow_rays(), before);
}

// Mean cosine of a cone about the normal: (1 + cos blur) / 2. The error of 4096 points of the
// sequence is below 1e-3.
TEST(ParallelLight, BlurAveragesOverItsCone) {
    LightScene scene;
    ParallelLight& light = add_parallel({0.0f, 0.0f, -1.0f});
    light.blur = 60.0f;
    light.offset = 0.0f;
    light.sample = 4096;
    scene.assemble();
    InitializeGaffer();
    const LitPoint lit;
    const LightSplit split = direct_parallel(light, lit.ray, lit.point);
    EXPECT_NEAR(split.to_lambertian.x, 0.75f, 1e-3f);
    EXPECT_EQ(shadow_rays(), 4096u);
}

// The field cos / d^2 of a sphere is that of its centre, outside of it [Newton].
TEST(PointLight, FallsOffWithTheSquareOfTheDistanceBlurredOrNot) {
    for (const float blur : {0.0f, 0.5f}) {
        LightScene scene;
        PointLight& light = add_point(3.0f * tilted(30.0f));
        light.blur = blur;
        light.offset = 0.0f;
        light.sample = 4096;
        light.color = {2.0f, 1.0f, 0.0f};
        scene.assemble();
        InitializeGaffer();
        const LitPoint lit;
        const LightSplit split = direct_point(light, lit.ray, lit.point);
        const float expected = std::cos(30.0f * kRadiansPerDegree) / 9.0f;
        EXPECT_NEAR(split.to_lambertian.x, 2.0f * expected, 2e-4f) << blur;
        EXPECT_NEAR(split.to_lambertian.y, expected, 1e-4f) << blur;
        EXPECT_EQ(split.to_lambertian.z, 0.0f);
    }
}

TEST(PointLight, SpotFallsOffLinearlyInTheAngle) {
    const auto lit_by = [](float inner, float outer, float degrees) {
        LightScene scene;
        PointLight& light = add_point({0.0f, 0.0f, 2.0f});
        light.direction = -5.0f * tilted(degrees);
        light.inner_angle = inner;
        light.outer_angle = outer;
        InitializeGaffer();
        const LitPoint lit;
        return 4.0f * direct_point(light, lit.ray, lit.point).to_lambertian.x;
    };
    EXPECT_NEAR(lit_by(0.0f, 180.0f, 0.0f), 1.0f, 1e-5f); // the default is no uniform light
    EXPECT_NEAR(lit_by(0.0f, 180.0f, 90.0f), 0.5f, 1e-5f);
    EXPECT_NEAR(lit_by(20.0f, 40.0f, 19.0f), 1.0f, 1e-5f);
    EXPECT_NEAR(lit_by(20.0f, 40.0f, 35.0f), 0.25f, 1e-4f);
    EXPECT_EQ(lit_by(20.0f, 40.0f, 41.0f), 0.0f);
    EXPECT_NEAR(lit_by(30.0f, 30.0f, 29.0f), 1.0f, 1e-5f);
    EXPECT_EQ(lit_by(30.0f, 30.0f, 31.0f), 0.0f);
    EXPECT_EQ(lit_by(0.0f, 0.0f, 0.0f), 0.0f); // 0 / 0 on the edge of a hard cone
}

TEST(AnalyticLights, AreStoppedByWhatStandsBetweenButNotBehind) {
    LightScene scene;
    scene.add_square(AddObject(), {0.0f, 0.0f, 1.0f}, 1.0f, true);
    add_point({0.0f, 0.0f, 2.0f});
    add_point({0.0f, 0.0f, 0.5f});
    ParallelLight& above = add_parallel({0.0f, 0.0f, -1.0f});
    scene.assemble();
    InitializeGaffer();
    const LitPoint lit;
    EXPECT_EQ(direct_point(PointLights[0], lit.ray, lit.point).to_lambertian, Vec3{});
    EXPECT_NEAR(direct_point(PointLights[1], lit.ray, lit.point).to_lambertian.x, 4.0f, 1e-5f);
    EXPECT_EQ(direct_parallel(above, lit.ray, lit.point).to_lambertian, Vec3{});
}

TEST(AnalyticLights, ReachOnlyLinkedShadersAndWriteTheirImages) {
    LightScene scene;
    const int linked = FindOrAddShader("linked");
    ParallelLight& light = add_parallel({0.0f, 0.0f, -1.0f});
    light.link.names = {"nothing", "linked", "linked"};
    Aov& aov = light.aov_list[static_cast<std::size_t>(AddAov(light.aov_list))];
    aov.channel |= static_cast<std::uint32_t>(Channel::lambertian);
    scene.assemble();
    InitializeGaffer();
    EXPECT_EQ(light.link.shaders, std::vector<std::int32_t>{linked});
    LitPoint lit;
    lit.point.lambertian_color = {0.5f, 0.25f, 0.125f};
    lit.ray.sample_divisor = 2;
    ThreadStates[0].pixel = 5;
    EXPECT_EQ(direct_parallel(light, lit.ray, lit.point).to_lambertian, Vec3{});
    EXPECT_EQ(read_pixel(light.aov_list[0].image, 5), Vec3{});
    lit.ray.hit_shader = linked;
    EXPECT_EQ(direct_parallel(light, lit.ray, lit.point).to_lambertian, splat(1.0f));
    EXPECT_EQ(read_pixel(light.aov_list[0].image, 5), (Vec3{0.25f, 0.125f, 0.0625f}));
}

TEST(SampleLoop, AdaptsToWhatThePointCanShow) {
    LightScene scene;
    const auto count = [&](int sample, int frames, float color, float weight) {
        Cameras[0].sample = frames;
        LitPoint lit;
        lit.point.lambertian_color = splat(color);
        lit.ray.weight = splat(weight);
        return first_hit_loop(lit.ray, lit.point, sample).count;
    };
    EXPECT_EQ(count(1, 64, 1.0f, 1.0f), 64u);
    EXPECT_EQ(count(64, 4, 1.0f, 0.5f), 32u);
    EXPECT_EQ(count(64, 4, 0.5f, 0.25f), 8u);
    EXPECT_EQ(count(100, 8, 1.0f, 4.0f), 96u); // never above `sample`
    EXPECT_EQ(count(-5, 8, 1.0f, 1.0f), 8u);
    EXPECT_EQ(count(2147483647, 1, 1e30f, 1e30f), 2147483647u);
    EXPECT_EQ(count(64, 4, NAN, 1.0f), 4u);
    CurrentSample = 3;
    const LitPoint lit;
    const SampleLoop loop = first_hit_loop(lit.ray, lit.point, 64);
    EXPECT_EQ(loop.first, 3u);
    EXPECT_EQ(loop.stride, 4u);
    CurrentSample = 0;
}

TEST(AnalyticLights, EndAtTheLimitOfBounces) {
    LightScene scene;
    ParallelLight& light = add_parallel({0.0f, 0.0f, -1.0f});
    scene.assemble();
    InitializeGaffer();
    RendererSettings.bounce = 2;
    LitPoint lit;
    lit.ray.glossy_bounces = 1;
    EXPECT_EQ(direct_parallel(light, lit.ray, lit.point).to_lambertian, splat(1.0f));
    lit.ray.diffuse_bounces = 1;
    EXPECT_EQ(direct_parallel(light, lit.ray, lit.point).to_lambertian, Vec3{});
}

} // namespace mh
