// Point and parallel lights against closed forms; links, sample counts, diffusing surfaces.
// SPDX-License-Identifier: MIT
#include "frame/types.h"
#include "geometry/objects.h"
#include "light_scene.h"
#include "lights/gaffer.h"
#include "lights/light_sampling.h"
#include "output/aov.h"
#include "output/camera.h"
#include "shading/shaders.h"
#include "support/expect.h"

#include <cmath>

#include <gtest/gtest.h>

namespace mh {
namespace {

using test::add_parallel_light;
using test::add_point_light;
using test::LightScene;
using test::LitPoint;

// A direction at an angle to the vertical.
Vec3 tilted(float degrees) {
    const float a = degrees * kRadiansPerDegree;
    return {std::sin(a), 0.0f, std::cos(a)};
}

} // namespace

TEST(ParallelLight, EndsBeforeTheHorizonByItsOffset) {
    LightScene scene;
    ParallelLight& light = add_parallel_light({});
    light.color = {0.25f, 1.0f, 4.0f};
    LitPoint lit;
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

TEST(ParallelLight, ReachesEveryLayer) {
    LightScene scene;
    ParallelLight& light = add_parallel_light(-tilted(40.0f));
    InitializeGaffer();
    for (test::Responder responder : test::all_responders()) {
        const float expected = kPi * test::response(responder, tilted(40.0f));
        SurfacePoint& point = responder.lit.point;
        EXPECT_NEAR(test::total(direct_parallel(light, responder.lit.ray, point)), expected, 1e-5f)
            << responder.name;
        point.reflectance = 0.0f; // of index 1
        if (!point.glossy_active || responder.lit.ray.hit_kind == HitKind::hair) continue;
        EXPECT_EQ(test::total(direct_parallel(light, responder.lit.ray, point)), 0.0f);
    }
}

// Mean cosine of a cone about the normal: (1 + cos blur) / 2. The field cos / d^2 of a sphere is
// that of its centre [Newton]. The error of 4096 points of the sequence is below 1e-3.
TEST(AnalyticLights, BlurredOnesAverageOverTheirConeOrSphere) {
    LightScene scene;
    ParallelLight& parallel = add_parallel_light({0.0f, 0.0f, -1.0f});
    PointLight& point = add_point_light(3.0f * tilted(30.0f));
    parallel.sample = point.sample = 4096;
    parallel.blur = 60.0f;
    scene.assemble();
    InitializeGaffer();
    const LitPoint lit;
    EXPECT_NEAR(direct_parallel(parallel, lit.ray, lit.point).to_lambertian.x, 0.75f, 1e-3f);
    EXPECT_EQ(ThreadStates[0].shadow_rays, 4096u);
    for (const float blur : {0.0f, 0.5f}) {
        point.blur = blur;
        const LightSplit split = direct_point(point, lit.ray, lit.point);
        EXPECT_NEAR(split.to_lambertian.x, tilted(30.0f).z / 9.0f, 1e-4f) << blur;
    }
}

TEST(PointLight, SpotFallsOffLinearlyInTheAngle) {
    LightScene scene;
    PointLight& light = add_point_light({0.0f, 0.0f, 2.0f});
    const auto lit_by = [&](float inner, float outer, float degrees) {
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
    EXPECT_NEAR(lit_by(30.0f, 30.0f, 29.0f), 1.0f, 1e-5f);
    EXPECT_EQ(lit_by(30.0f, 30.0f, 31.0f), 0.0f);
    EXPECT_EQ(lit_by(0.0f, 0.0f, 0.0f), 0.0f); // 0 / 0 on the edge of a hard cone
}

TEST(AnalyticLights, AreStoppedByWhatStandsBetweenAndByTheLimitOfBounces) {
    LightScene scene;
    scene.add_square(AddObject(), {0.0f, 0.0f, 1.0f}, 1.0f, true);
    PointLight& behind = add_point_light({0.0f, 0.0f, 2.0f});
    ParallelLight& above = add_parallel_light({0.0f, 0.0f, -1.0f});
    scene.assemble();
    InitializeGaffer();
    LitPoint lit;
    EXPECT_EQ(direct_point(behind, lit.ray, lit.point).to_lambertian, Vec3{});
    EXPECT_EQ(direct_parallel(above, lit.ray, lit.point).to_lambertian, Vec3{});
    lit.point.position.z = 1.5f;
    EXPECT_EQ(direct_parallel(above, lit.ray, lit.point).to_lambertian, splat(1.0f));
    RendererSettings.bounce = 2;
    lit.ray.glossy_bounces = 1;
    EXPECT_EQ(direct_parallel(above, lit.ray, lit.point).to_lambertian, splat(1.0f));
    lit.ray.diffuse_bounces = 1;
    EXPECT_EQ(direct_parallel(above, lit.ray, lit.point).to_lambertian, Vec3{});
}

TEST(AnalyticLights, ReachOnlyLinkedShadersAndWriteTheirImages) {
    LightScene scene;
    const int linked = FindOrAddShader("linked");
    ParallelLight& light = add_parallel_light({0.0f, 0.0f, -1.0f});
    light.link.names = {"nothing", "linked", "linked"};
    test::add_aov(light.aov_list, Channel::lambertian);
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

// On a wide flat floor every jump lands on a point like the first, whichever side the chord met.
TEST(AnalyticLights, DiffusingFloorTakesLightByTheColourOfItsJumps) {
    LightScene scene;
    scene.add_square(AddObject(), {}, 100.0f, true);
    ParallelLight& light = add_parallel_light({0.0f, 0.0f, -1.0f});
    light.sample = 64;
    scene.assemble();
    InitializeGaffer();
    LitPoint lit;
    lit.point.diffusion_active = true;
    lit.point.diffusion_color = {1.0f, 0.25f, 0.01f};
    const LightSplit split = direct_parallel(light, lit.ray, lit.point);
    EXPECT_NEAR(split.to_lambertian.x, 1.0f, 1e-4f);
    EXPECT_NEAR(split.to_lambertian.y, 0.5f, 1e-4f);
    EXPECT_NEAR(split.to_lambertian.z, 0.1f, 1e-4f);
    lit.point.position.z = 90.0f; // far from any surface
    EXPECT_EQ(direct_parallel(light, lit.ray, lit.point).to_lambertian, Vec3{});
}

TEST(SampleLoop, AdaptsToWhatThePointCanShow) {
    LightScene scene;
    LitPoint lit;
    const auto count = [&](int sample, int frames, float color, float weight) {
        Cameras[0].sample = frames;
        lit.point.lambertian_color = splat(color);
        lit.ray.weight = splat(weight);
        return first_hit_loop(lit.ray, lit.point, sample).count;
    };
    EXPECT_EQ(count(1, 64, 1.0f, 1.0f), 64u);
    EXPECT_EQ(count(64, 4, 0.5f, 0.25f), 8u);
    EXPECT_EQ(count(100, 8, 1.0f, 4.0f), 96u); // never above `sample`
    EXPECT_EQ(count(-5, 8, 1.0f, 1.0f), 8u);
    EXPECT_EQ(count(2147483647, 1, 1e30f, 1e30f), 2147483647u);
    CurrentSample = 3;
    EXPECT_EQ(count(64, 4, NAN, 1.0f), 4u);
    EXPECT_EQ(first_hit_loop(lit.ray, lit.point, 64).first, 3u);
    EXPECT_EQ(first_hit_loop(lit.ray, lit.point, 64).stride, 4u);
    CurrentSample = 0;
}

} // namespace mh
