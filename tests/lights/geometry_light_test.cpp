// Emitting surfaces: the table of samples, direct light, and its balance with bounces.
// SPDX-License-Identifier: MIT
#include "lights/geometry_light.h"

#include "accel/types.h"
#include "accel/walk.h"
#include "frame/types.h"
#include "geometry/objects.h"
#include "light_scene.h"
#include "math/sampling.h"
#include "output/aov.h"
#include "output/camera.h"
#include "shading/surface_point.h"

#include <array>
#include <cmath>

#include <gtest/gtest.h>

namespace mh {

namespace {

using test::LightScene;
using test::LitPoint;

// A square lamp of half width 0.5 at height 1 over the origin, facing down.
struct LampScene : LightScene {
    explicit LampScene(int sample, int frames = 1, const Vec3& emission = splat(3.0f)) {
        const int shader = add_emitter("lamp", emission);
        Shaders[static_cast<std::size_t>(shader)].layers[0].sideness = Sideness::face;
        add_square(AddObject(), {0.0f, 0.0f, 1.0f}, 0.5f, false, shader);
        assemble(frames);
        GeometryLight.sample = sample;
        InitializeGeometryLight();
    }
};

// What surface_emission gives a ray that may hit the lamp.
Vec3 emission_along(Ray ray) {
    if (!closest_hit(ray)) return {};
    SurfacePoint point;
    build_surface_point(ray, point);
    return surface_emission(ray, point, {});
}

// Form factor of a point to a parallel square over it: the radiance of a white surface there under
// a lamp of radiance 1.
float square_form_factor(float half_width, float height) {
    const float x = half_width / height, root = std::sqrt(1.0f + x * x);
    return 4.0f * x / (kPi * root) * std::atan(x / root);
}

} // namespace

TEST(GeometryTable, HoldsSamplesByAreaThroughInstances) {
    LightScene scene;
    const int shader = scene.add_emitter("lamp", {1.0f, 2.0f, 3.0f});
    Shaders[static_cast<std::size_t>(shader)].layers[0].sideness = Sideness::face;
    const int lamp = AddObject(), root = AddObject();
    scene.add_square(lamp, {}, 1.0f, true, shader);
    scene.add_square(root, {0.0f, 0.0f, -1.0f}, 0.5f, true, shader);
    Object& object = Objects[static_cast<std::size_t>(root)];
    Instance& turned = object.instances[static_cast<std::size_t>(AddInstance(object))];
    turned.object = static_cast<std::uint32_t>(lamp);
    turned.matrix = {{{0, 0, 1, 10}, {0, 1, 0, 0}, {-1, 0, 0, 0}, {0, 0, 0, 1}}}; // z to x
    scene.assemble();
    GeometryLight.sample = 1;
    InitializeGeometryLight();
    EXPECT_FLOAT_EQ(GeometryLight.area, 5.0f);
    ASSERT_EQ(GeometryLight.samples.size(), 18481u);
    int instanced = 0;
    std::array<int, 16> cells = {};
    for (const LightSample& sample : GeometryLight.samples) {
        EXPECT_NEAR(sample.emission.z, 3.0f * 5.0f / kPi, 1e-5f);
        if (sample.position.x < 5.0f) {
            EXPECT_EQ(sample.normal, (Vec3{0.0f, 0.0f, 1.0f}));
            continue;
        }
        ++instanced;
        EXPECT_EQ(sample.normal, (Vec3{1.0f, 0.0f, 0.0f}));
        EXPECT_FLOAT_EQ(sample.position.x, 10.0f);
        const int y = static_cast<int>(2.0f * (sample.position.y + 1.0f));
        const int z = static_cast<int>(2.0f * (sample.position.z + 1.0f));
        ++cells.at(static_cast<std::size_t>(4 * y + z));
    }
    EXPECT_NEAR(instanced, 18481 * 0.8, 2.0); // the picks are stratified
    // 99.9 % point of the chi-square distribution with 15 degrees of freedom: 37.7.
    double chi_square = 0.0;
    for (const int count : cells)
        chi_square += std::pow(count - instanced / 16.0, 2.0) / (instanced / 16.0);
    EXPECT_LT(chi_square, 37.7);
}

TEST(GeometryTable, TrianglesAreCoveredEvenly) {
    LightScene scene;
    const int shader = scene.add_emitter("lamp", splat(1.0f));
    Object& object = Objects[static_cast<std::size_t>(AddObject())];
    Part& part = object.parts[static_cast<std::size_t>(AddPart(object))];
    part.positions = {{0.0f, 0.0f, 0.0f}, {1.0f, 0.0f, 0.0f}, {0.0f, 1.0f, 0.0f}};
    part.triangles = {{{0, 1, 2}, static_cast<std::uint32_t>(shader)}};
    scene.assemble();
    GeometryLight.sample = 1;
    InitializeGeometryLight();
    EXPECT_FLOAT_EQ(GeometryLight.area, 1.0f); // both sides emit
    int near_corner = 0, middle = 0, back = 0;
    for (const LightSample& sample : GeometryLight.samples) {
        near_corner += sample.position.x > 0.5f ? 1 : 0;
        middle += sample.position.x + sample.position.y < 0.5f ? 1 : 0;
        back += sample.normal.z < 0.0f ? 1 : 0;
        EXPECT_EQ(sample.front, sample.normal.z > 0.0f);
    }
    EXPECT_NEAR(near_corner, 18481 / 4, 60);
    EXPECT_NEAR(middle, 18481 / 4, 60);
    EXPECT_NEAR(back, 18481 / 2, 2);
}

// 4096 of the 18481 points; their error is below 0.5 %.
TEST(GeometryLight, SquareLampLightsAWhiteFloorByItsFormFactor) {
    LampScene scene(4096);
    const LitPoint lit;
    RendererSettings.bounce_samples = 0;
    const float expected = 3.0f * square_form_factor(0.5f, 1.0f);
    EXPECT_NEAR(direct_geometry(lit.ray, lit.point).to_lambertian.x, expected, 5e-3f * expected);
    RendererSettings.bounce_samples = 4096;
    float light = direct_geometry(lit.ray, lit.point).to_lambertian.x;
    EXPECT_LT(light, 0.9f * expected);
    for (std::uint32_t i = 0; i < 4096; ++i) {
        SampleCursor cursor{0.0f, 0.0f, i, 0};
        const Vec3 d = sample_cosine_local(next_pair(cursor));
        light += emission_along(test::bounced_ray(lit, d, Scatter::lambertian, 1)).x / 4096.0f;
    }
    EXPECT_NEAR(light, expected, 1e-2f * expected);
}

TEST(GeometryLight, SharesOfSamplesAndBouncesSumToOne) {
    LampScene scene(5, 5);
    RendererSettings.bounce_samples = 3;
    RendererSettings.bounce = 2;
    LitPoint lit;
    for (float r = 0.0005f; r < 1.0f; r += 0.0371f) {
        for (const int bounces : {0, 1}) {
            lit.ray.diffuse_bounces = static_cast<std::uint8_t>(bounces);
            const test::ReplayedDraws draws{r};
            const float u = bounces == 0 ? r / 5.0f : r; // the first of five samples
            const std::int32_t index = pick(GeometryLight.table, u);
            const LightSample& x = GeometryLight.samples[static_cast<std::size_t>(index)];
            const float square = dot(x.position, x.position);
            const Vec3 direction = x.position / std::sqrt(square);
            const float plain = x.emission.x * direction.z * direction.z
                                / (square * 18481.0f * probability(GeometryLight.table, index));
            const float direct = direct_geometry(lit.ray, lit.point).to_lambertian.x / plain;
            const Ray bounce = test::bounced_ray(lit, direction, Scatter::lambertian, bounces + 1);
            const float bounced = emission_along(bounce).x / 3.0f;
            EXPECT_GT(bounced, 0.0f);
            EXPECT_NEAR(direct + bounced, 1.0f, 1e-4f) << r << " " << bounces;
        }
    }
}

TEST(GeometryLight, BacksOfSamplesCostNoShadowRay) {
    LampScene scene(16);
    LitPoint lit;
    lit.point.position = {0.0f, 0.0f, 2.0f}; // behind the lamp
    lit.point.normal = lit.point.geometric_normal = {0.0f, 0.0f, -1.0f};
    EXPECT_EQ(direct_geometry(lit.ray, lit.point).to_lambertian, Vec3{});
    EXPECT_EQ(ThreadStates[0].shadow_rays, 0u);
}

TEST(SurfaceEmission, CountsByTheBounceThatMetIt) {
    LampScene scene(4);
    const LitPoint lit;
    const auto seen = [&](Scatter scatter, Scatter prior, int n) {
        Ray ray = test::bounced_ray(lit, {0.0f, 0.0f, 1.0f}, scatter, n);
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
    GeometryLight.aov_list.clear();
    const auto add = [](Channel channel, const std::string& shader) {
        Aov& aov = GeometryLight.aov_list[static_cast<std::size_t>(AddAov(GeometryLight.aov_list))];
        aov.channel |= static_cast<std::uint32_t>(channel);
        aov.shader_name = shader;
    };
    add(Channel::lambertian, "");
    add(Channel::lambertian, "undefined");
    add(Channel::lambertian, "lamp");
    add(Channel::glossy, "");
    InitializeGeometryLight();
    const LitPoint lit;
    Ray ray = test::bounced_ray(lit, {0.0f, 0.0f, 1.0f}, Scatter::lambertian, 1);
    ray.weight = splat(0.5f);
    ray.sample_divisor = 3;
    EXPECT_EQ(emission_along(ray), splat(3.0f));
    const std::array<float, 4> expected = {0.5f, 0.0f, 0.5f, 0.0f};
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_FLOAT_EQ(read_pixel(GeometryLight.aov_list[i].image, 0).x, expected[i]) << i;
}

TEST(GeometryLight, WithoutEmittersTurnsItselfOffAndStillReports) {
    LightScene scene;
    scene.add_square(AddObject(), {}, 1.0f, true);
    scene.assemble();
    GeometryLight.sample = 16;
    GeometryLight.aov_list.resize(1);
    scene.fresh.take_report();
    InitializeGeometryLight();
    EXPECT_EQ(scene.fresh.take_report(),
              "geometry light area             0.0000 [ m x m ]\ngeometry light sample"
                  + std::string(16, ' ') + "0 [ n/a ]\n" + std::string(80, '_') + "\n\n");
    EXPECT_EQ(GeometryLight.sample, 0);
    EXPECT_EQ(GeometryLight.photons, 0);
    EXPECT_EQ(GeometryLight.aov_list[0].image.width, 4);
}

} // namespace mh
