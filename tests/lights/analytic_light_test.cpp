// Point and parallel lights against closed forms; links, sample counts, diffusing surfaces.
// SPDX-License-Identifier: MIT
#include "frame/phases.h"
#include "light_scene.h"
#include "lights/gaffer.h"
#include "lights/light_sampling.h"
#include "lights/state.h"
#include "output/aov.h"
#include "output/state.h"
#include "run/state.h"
#include "shading/shaders.h"
#include "support/expect.h"
#include "support/scene.h"

#include <cmath>

#include <gtest/gtest.h>

namespace mh::test {
namespace {

struct AnalyticLight : testing::Test {
    Scene scene;
    LitPoint lit;
};

using ParallelLightTest = AnalyticLight;
using PointLightTest = AnalyticLight;

// A direction at an angle to the vertical.
Vec3 tilted(float degrees) {
    const float a = degrees * kRadiansPerDegree;
    return {std::sin(a), 0.0f, std::cos(a)};
}

float lambertian(ParallelLight& light, const LitPoint& lit) {
    return direct_parallel(light, lit.ray, lit.point).to_lambertian.x;
}

TEST_F(ParallelLightTest, EndsBeforeTheHorizonByItsOffset) {
    ParallelLight& light = add_parallel_light({});
    light.color = {0.25f, 1.0f, 4.0f};
    lit.point.transmissive_active = true;
    lit.point.transmittance = 0.5f;
    for (const float offset : {0.0f, 0.1f, 0.5f, 1.0f}) {
        for (float degrees = 0.0f; degrees <= 180.0f; degrees += 7.5f) {
            light.axis = -2.0f * tilted(degrees);
            light.offset = offset;
            ThreadStates[0].shadow_rays = 0;
            InitializeGaffer();
            const LightSplit split = sum_analytic_lights(lit.ray, lit.point);
            const float c = std::cos(degrees * kRadiansPerDegree);
            const float kd = c > offset ? (c - offset) / (1.0f - offset) : 0.0f;
            const float kt = -c > offset ? (-c - offset) / (1.0f - offset) : 0.0f;
            EXPECT_NEAR(split.to_lambertian.z, 2.0f * kd, 2e-6f) << offset << " " << degrees;
            EXPECT_NEAR(split.to_transmissive.y, 0.5f * kt, 1e-6f) << offset << " " << degrees;
            EXPECT_EQ(ThreadStates[0].shadow_rays, kd + kt > 0.0f ? 1u : 0u) << degrees;
        }
    }
}

TEST_F(ParallelLightTest, ReachesEveryLayer) {
    ParallelLight& light = add_parallel_light(-tilted(40.0f));
    InitializeGaffer();
    for (Responder responder : all_responders()) {
        const float seen = total(direct_parallel(light, responder.lit.ray, responder.lit.point));
        EXPECT_NEAR(seen, kPi * response(responder, tilted(40.0f)), 1e-5f) << responder.name;
    }
}

// Mean cosine of a cone about the normal: (1 + cos blur) / 2. The field cos / d^2 of a sphere is
// that of its centre [Newton]. The error of 4096 points of the sequence is below 1e-3.
TEST_F(AnalyticLight, AverageOverTheirConeOrSphere) {
    ParallelLight& parallel = add_parallel_light({0.0f, 0.0f, -1.0f});
    PointLight& point = add_point_light(3.0f * tilted(30.0f));
    parallel.sample = point.sample = 4096;
    parallel.blur = 60.0f;
    Initialize();
    EXPECT_NEAR(lambertian(parallel, lit), 0.75f, 1e-3f);
    EXPECT_EQ(ThreadStates[0].shadow_rays, 4096u);
    for (const float blur : {0.0f, 0.5f}) {
        point.blur = blur;
        const LightSplit split = direct_point(point, lit.ray, lit.point);
        EXPECT_NEAR(split.to_lambertian.x, tilted(30.0f).z / 9.0f, 1e-4f) << blur;
    }
}

TEST_F(PointLightTest, FallsOffBetweenItsCones) {
    PointLight& light = add_point_light({0.0f, 0.0f, 2.0f});

    const float half = std::acos(0.5f * (1.0f + std::cos(kPi / 3.0f))) / kRadiansPerDegree;

    const struct {
        float inner, outer, degrees, light;
        Falloff falloff = Falloff::linear;
    } cases[] = {{0, 180, 0, 1}, // the default is no uniform light
                 {0, 180, 90, 0.5f},
                 {20, 40, 19, 1},
                 {20, 40, 35, 0.25f},
                 {30, 30, 29, 1},
                 {30, 30, 31, 0},
                 {0, 0, 0, 0}, // 0 / 0 on the edge
                 {0, 60, half, 0.5f, Falloff::smooth},
                 {0, 60, half, 0.375f, Falloff::cosine},
                 {31, 30, 29, 1, Falloff::smooth}, // a hard cone
                 {31, 30, 30.5f, 0, Falloff::smooth}};

    for (const auto& c : cases) {
        light.direction = -5.0f * tilted(c.degrees);
        light.inner_angle = c.inner;
        light.outer_angle = c.outer;
        light.falloff = c.falloff;
        InitializeGaffer();
        const LightSplit split = direct_point(light, lit.ray, lit.point);
        EXPECT_NEAR(4.0f * split.to_lambertian.x, c.light, 1e-4f) << c.outer << " " << c.degrees;
    }
}

TEST_F(AnalyticLight, IsStoppedByWhatStandsBetweenAndByTheLimitOfBounces) {
    add_floor(1.0f, 1.0f, 0);
    PointLight& behind = add_point_light({0.0f, 0.0f, 2.0f});
    ParallelLight& above = add_parallel_light({0.0f, 0.0f, -1.0f});
    Initialize();
    EXPECT_EQ(direct_point(behind, lit.ray, lit.point).to_lambertian, Vec3{});
    EXPECT_EQ(lambertian(above, lit), 0.0f);
    lit.point.position.z = 1.5f;
    RendererSettings.bounce = 2;
    lit.ray.glossy_bounces = 1;
    EXPECT_EQ(lambertian(above, lit), 1.0f);
    lit.ray.diffuse_bounces = 1;
    EXPECT_EQ(lambertian(above, lit), 0.0f);
}

// In the exact estimator, unless its distance has no bound.
TEST_F(AnalyticLight, IsDimmedByTheMediumOnItsWay) {
    PointLight& light = add_point_light({0.0f, 0.0f, 2.0f});
    ParallelLight& far = add_parallel_light({0.0f, 0.0f, -1.0f});
    SkyLight.medium.transmittance = splat(0.5f);
    Initialize();
    for (const Estimator estimator : {Estimator::classic, Estimator::exact}) {
        RendererSettings.estimator = estimator;
        const float passed = estimator == Estimator::exact ? 0.25f : 1.0f;
        EXPECT_NEAR(4.0f * direct_point(light, lit.ray, lit.point).to_lambertian.x, passed, 1e-4f);
        EXPECT_EQ(lambertian(far, lit), 1.0f);
    }
}

TEST_F(AnalyticLight, ReachesOnlyLinkedShadersAndWritesItsImages) {
    const int linked = FindOrAddShader("linked");
    ParallelLight& light = add_parallel_light({0.0f, 0.0f, -1.0f});
    light.link.names = {"nothing", "linked", "linked"};
    add_aov(light.aov_list, Channel::lambertian);
    Initialize();
    EXPECT_EQ(light.link.shaders, std::vector<std::int32_t>{linked});
    lit.point.lambertian_color = {0.5f, 0.25f, 0.125f};
    lit.ray.sample_divisor = 2;
    for (const int shader : {0, linked}) {
        lit.ray.hit_shader = shader;
        EXPECT_EQ(lambertian(light, lit), shader == linked ? 1.0f : 0.0f);
    }
    EXPECT_EQ(read_pixel(light.aov_list[0].image, 0), (Vec3{0.25f, 0.125f, 0.0625f}));
}

// On a wide flat floor every jump lands on a point like the first, whichever side the chord met.
TEST_F(AnalyticLight, OnADiffusingFloorHasTheColourOfItsJumps) {
    add_floor(100.0f, 0.0f, 0);
    ParallelLight& light = add_parallel_light({0.0f, 0.0f, -1.0f});
    light.sample = 64;
    Initialize();
    lit.point.diffusion_active = true;
    lit.point.diffusion_color = {1.0f, 0.25f, 0.01f};
    expect_near(direct_parallel(light, lit.ray, lit.point).to_lambertian, {1.0f, 0.5f, 0.1f},
                1e-4f);
    lit.point.position.z = 90.0f; // far from any surface
    EXPECT_EQ(lambertian(light, lit), 0.0f);
}

TEST_F(AnalyticLight, TakesAsManySamplesAsThePointCanShow) {
    const struct {
        int sample, frames;
        float color, weight;
        std::uint32_t count;
    } cases[] = {
        {1, 64, 1, 1, 64},      {64, 4, 0.5f, 0.25f, 8}, {100, 8, 1, 4, 96}, // never above `sample`
        {200, 8, 0.12f, 1, 24}, {-5, 8, 1, 1, 8},        {2147483647, 1, 1e30f, 1e30f, 2147483647},
        {64, 4, kNan, 1, 4}};

    ThreadStates[lit.ray.thread].frame = 3;
    for (const auto& c : cases) {
        Cameras[0].sample = c.frames;
        lit.point.lambertian_color = splat(c.color);
        lit.ray.weight = splat(c.weight);
        const SampleLoop loop = first_hit_loop(lit.ray, lit.point, c.sample);
        EXPECT_EQ(loop.count, c.count) << c.sample;
        EXPECT_EQ(loop.first, 3u);
        EXPECT_EQ(loop.stride, static_cast<std::uint32_t>(c.frames));
    }
    ThreadStates[lit.ray.thread].frame = 0;
}

} // namespace
} // namespace mh::test
