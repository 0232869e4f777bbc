// Emitting surfaces: the table of samples, direct light, and its balance with bounces.
// SPDX-License-Identifier: MIT
#include "lights/geometry_light.h"

#include "accel/scene_assembly.h"
#include "accel/walk.h"
#include "frame/phases.h"
#include "geometry/objects.h"
#include "geometry/state.h"
#include "hit/surface_builder.h"
#include "light_scene.h"
#include "lights/state.h"
#include "math/at.h"
#include "math/random.h"
#include "output/aov.h"
#include "output/state.h"
#include "run/state.h"
#include "scene/scene_reader.h"
#include "shading/shaders.h"
#include "support/expect.h"
#include "support/scene.h"

#include <cmath>
#include <tuple>

#include <gtest/gtest.h>

namespace mh::test {
namespace {

// A square lamp of half width 0.5 at height 1 over the origin, facing down, of radiance 3.
struct LampScene : Scene {
    explicit LampScene(int sample, int frames = 1) {
        add_floor(0.5f, 1.0f, add_lamp(splat(3.0f)), false);
        Cameras[0].sample = frames;
        GeometryLight.sample = sample;
        Initialize();
        GeometryLight.photons = 1;
    }
};

// What surface_emission gives a ray that may hit the lamp.
Vec3 emission_along(Ray ray) {
    if (!closest_hit(ray)) return {};
    SurfacePoint point;
    build_surface_point(ray, point);
    return surface_emission(ray, point, {});
}

} // namespace

TEST(GeometryTable, HoldsSamplesByAreaThroughInstances) {
    const SeededDraws draws(7);
    FreshScene scene;
    GeometrySearchPaths = {MOONHARE_SOURCE_DIR "/tests/lights"};
    ASSERT_TRUE(ReadSceneFile(GeometrySearchPaths[0] + "/instances.mh"));
    GeometrySearchPaths.clear();
    InitializeShaders();
    AssembleScene();
    InitializeGeometryLight();
    EXPECT_FLOAT_EQ(GeometryLight.area, 5.0f);
    ASSERT_EQ(GeometryLight.samples.size(), 18481u);
    int instanced = 0;
    std::vector<int> cells(16);
    for (const LightSample& sample : GeometryLight.samples) {
        const LightFace& face = at(GeometryLight.faces, sample.face);
        EXPECT_NEAR(face.emission.z, 3.0f * 5.0f / kPi, 1e-5f);
        if (sample.position.x < 5.0f) {
            EXPECT_EQ(face.normal, (Vec3{0.0f, 0.0f, 1.0f}));
            continue;
        }
        ++instanced;
        EXPECT_EQ(face.normal, (Vec3{1.0f, 0.0f, 0.0f}));
        EXPECT_FLOAT_EQ(sample.position.x, 10.0f);
        const int y = static_cast<int>(2.0f * (sample.position.y + 1.0f));
        const int z = static_cast<int>(2.0f * (sample.position.z + 1.0f));
        ++cells.at(to_size(4 * y + z));
    }
    EXPECT_NEAR(instanced, 18481 * 0.8, 2.0); // the picks are stratified
    EXPECT_LT(chi_square(cells, instanced / 16.0), kChiSquare15);
}

TEST(GeometryLight, SharesOfSamplesAndBouncesSumToOne) {
    LampScene scene(5, 5);
    RendererSettings.bounce_samples = 3;
    RendererSettings.bounce = 2;
    const std::vector<Responder> responders = all_responders();
    RandomSource = [] { return 0x5EB851ECu; }; // always the same place of the lamp
    for (Responder responder : responders) {
        for (const int bounces : {0, 1}) {
            responder.lit.ray.diffuse_bounces = static_cast<std::uint8_t>(bounces);
            const float u =
                bounces == 0 ? random_unit() / 5.0f : random_unit(); // the first of five
            const std::int32_t index = pick(GeometryLight.table, u);
            const LightSample& x = at(GeometryLight.samples, index);
            const float square = dot(x.position, x.position);
            const Vec3 direction = x.position / std::sqrt(square);
            const Vec3 emission = at(GeometryLight.faces, x.face).emission;
            const float plain = emission.x * kPi * direction.z
                                / (square * 18481.0f * probability(GeometryLight.table, index))
                                * response(responder, direction);
            const float direct =
                total(direct_geometry(responder.lit.ray, responder.lit.point)) / plain;
            const float bounced = emission_along(bounced_ray(responder.lit, direction,
                                                             responder.scatter, bounces + 1))
                                      .x
                                  / 3.0f;
            EXPECT_GT(bounced, 0.0f) << responder.name;
            EXPECT_NEAR(direct + bounced, 1.0f, 1e-4f) << responder.name << " " << bounces;
        }
    }
}

TEST(SurfaceEmission, CountsByTheBounceThatMetIt) {
    LampScene scene(4);
    const LitPoint lit;
    const auto seen = [&](Scatter scatter, Scatter prior, int n) {
        Ray ray = bounced_ray(lit, {0.0f, 0.0f, 1.0f}, scatter, n);
        ray.prior_scatter = prior;
        return emission_along(ray).x;
    };
    EXPECT_EQ(seen(Scatter::specular_reflection, Scatter::specular_reflection, 0), 3.0f);
    EXPECT_EQ(seen(Scatter::glossy_refraction, Scatter::specular_reflection, 1), 0.0f);
    EXPECT_EQ(seen(Scatter::specular_refraction, Scatter::glossy_reflection, 1), 3.0f);
    EXPECT_EQ(seen(Scatter::specular_refraction, Scatter::lambertian, 1), 0.0f);
    GeometryLight.photons = 0; // nothing else brings it
    EXPECT_EQ(seen(Scatter::specular_refraction, Scatter::lambertian, 1), 3.0f);
    EXPECT_EQ(seen(Scatter::transmissive, Scatter::lambertian, 1), 0.0f); // the wrong side
    GeometryLight.sample = 0;
    EXPECT_EQ(seen(Scatter::lambertian, Scatter::lambertian, 3), 3.0f);
    GeometryLight.link.shaders = {99};
    EXPECT_EQ(seen(Scatter::lambertian, Scatter::lambertian, 3), 0.0f);
}

TEST(SurfaceEmission, AddsToTheAovOfItsBounceAndShader) {
    LampScene scene(0);
    const std::tuple<Channel, std::string, float> aovs[] = {
        {Channel::lambertian, "", 0.5f},
        {Channel::lambertian, "undefined", 0.0f},
        {Channel::lambertian, "shader 1", 0.5f},
        {Channel::glossy, "", 0.0f},
        {Channel::lambertian, "nobody", 0.0f}};
    GeometryLight.aov_list.clear();
    for (const auto& [channel, shader, seen] : aovs)
        add_aov(GeometryLight.aov_list, channel).shader_name = shader;
    InitializeGeometryLight();
    const LitPoint lit;
    Ray ray = bounced_ray(lit, {0.0f, 0.0f, 1.0f}, Scatter::lambertian, 1);
    ray.weight = splat(0.5f);
    ray.sample_divisor = 3;
    EXPECT_EQ(emission_along(ray), splat(3.0f));
    for (std::size_t i = 0; i < std::size(aovs); ++i)
        EXPECT_FLOAT_EQ(read_pixel(GeometryLight.aov_list[i].image, 0).x, std::get<2>(aovs[i]))
            << i;
}

// Two lamps, the second three times as bright: each sample goes to the image of its own shader.
TEST(GeometryLight, SamplesGoToTheAovOfTheShaderOfTheirFace) {
    Scene scene;
    const int lamps[] = {add_lamp(splat(1.0f)), add_lamp(splat(3.0f))};
    for (const int lamp : lamps)
        add_level({lamp == lamps[0] ? -1.0f : 0.5f, -0.5f}, {lamp == lamps[0] ? -0.5f : 1.0f, 0.5f},
                  1.0f, lamp, false);
    GeometryLight.sample = 4096;
    GeometryLight.aov_list.clear();
    for (const std::string name : {"", "shader 1", "shader 2", "nobody"})
        add_aov(GeometryLight.aov_list, Channel::lambertian).shader_name = name;
    Initialize();
    const LitPoint lit;
    direct_geometry(lit.ray, lit.point);
    const auto image = [](std::size_t i) {
        return read_pixel(GeometryLight.aov_list[i].image, 0).x;
    };
    EXPECT_GT(image(1), 0.0f);
    EXPECT_NEAR(image(2) / image(1), 3.0f, 0.2f); // by symmetry, with 1024 samples or more each
    EXPECT_NEAR(image(1) + image(2), image(0), 1e-4f * image(0));
    EXPECT_EQ(image(3), 0.0f);
}

TEST(GeometryLight, CostsNoShadowRaysBehindItsFaces) {
    LampScene scene(4);
    LitPoint above;
    above.point.position.z = 2.0f;
    above.point.normal = above.point.geometric_normal = {0.0f, 0.0f, -1.0f};
    ThreadStates[0].shadow_rays = 0;
    EXPECT_EQ(direct_geometry(above.ray, above.point).to_lambertian, Vec3{});
    EXPECT_EQ(ThreadStates[0].shadow_rays, 0u);
}

TEST(GeometryLight, WithoutEmittersTurnsItselfOff) {
    Scene scene;
    add_floor(1.0f, 0.0f, 0);
    GeometryLight.sample = GeometryLight.photons = 16;
    GeometryLight.aov_list.resize(1);
    Initialize();
    EXPECT_EQ(GeometryLight.sample + GeometryLight.photons, 0);
    EXPECT_EQ(GeometryLight.aov_list[0].image.width, 1);
}

} // namespace mh::test
