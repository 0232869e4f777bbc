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
#include "support/expect.h"

#include <array>
#include <cmath>

#include <gtest/gtest.h>

namespace mh {
namespace {

using test::LightScene;
using test::LitPoint;

// A square lamp of half width 0.5 at height 1 over the origin, facing down, of radiance 3.
struct LampScene : LightScene {
    explicit LampScene(int sample, int frames = 1) {
        const int shader = add_emitter(splat(3.0f), Sideness::face);
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
    const int shader = scene.add_emitter({1.0f, 2.0f, 3.0f}, Sideness::face);
    const int lamp = AddObject(), middle = AddObject(), root = AddObject();
    scene.add_square(lamp, {}, 1.0f, true, shader);
    scene.add_square(root, {0.0f, 0.0f, -1.0f}, 0.5f, true, shader);
    const auto place = [](int parent, int target, const Mat4& matrix) {
        Object& object = Objects[static_cast<std::size_t>(parent)];
        Instance& instance = object.instances[static_cast<std::size_t>(AddInstance(object))];
        instance.object = static_cast<std::uint32_t>(target);
        instance.matrix = matrix;
    };
    place(middle, lamp, {{{0, 0, 1, 0}, {0, 1, 0, 0}, {-1, 0, 0, 0}, {0, 0, 0, 1}}}); // z to x
    place(root, middle, {{{1, 0, 0, 10}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}});
    scene.assemble();
    GeometryLight.sample = 1;
    InitializeGeometryLight();
    EXPECT_FLOAT_EQ(GeometryLight.area, 5.0f);
    ASSERT_EQ(GeometryLight.samples.size(), 18481u);
    int instanced = 0;
    std::vector<int> cells(16);
    for (const LightSample& sample : GeometryLight.samples) {
        const LightFace& face = GeometryLight.faces[static_cast<std::size_t>(sample.face)];
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
        ++cells.at(static_cast<std::size_t>(4 * y + z));
    }
    EXPECT_NEAR(instanced, 18481 * 0.8, 2.0); // the picks are stratified
    EXPECT_LT(test::chi_square(cells, std::vector<double>(16, instanced / 16.0)),
              test::kChiSquare15);
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
    LitPoint above;
    above.point.position.z = 2.0f;
    above.point.normal = above.point.geometric_normal = {0.0f, 0.0f, -1.0f};
    ThreadStates[0].shadow_rays = 0;
    EXPECT_EQ(direct_geometry(above.ray, above.point).to_lambertian, Vec3{});
    EXPECT_EQ(ThreadStates[0].shadow_rays, 0u); // backs of samples cost none
}

TEST(GeometryLight, SharesOfSamplesAndBouncesSumToOne) {
    LampScene scene(5, 5);
    RendererSettings.bounce_samples = 3;
    RendererSettings.bounce = 2;
    for (test::Responder responder : test::all_responders()) {
        for (const int bounces : {0, 1}) {
            responder.lit.ray.diffuse_bounces = static_cast<std::uint8_t>(bounces);
            const float r = 0.37f;
            const test::ReplayedDraws replayed{r};
            const float u = bounces == 0 ? r / 5.0f : r; // the first of five samples
            const std::int32_t index = pick(GeometryLight.table, u);
            const LightSample& x = GeometryLight.samples[static_cast<std::size_t>(index)];
            const float square = dot(x.position, x.position);
            const Vec3 direction = x.position / std::sqrt(square);
            const Vec3 emission = GeometryLight.faces[static_cast<std::size_t>(x.face)].emission;
            const float plain = emission.x * kPi * direction.z
                                / (square * 18481.0f * probability(GeometryLight.table, index))
                                * test::response(responder, direction);
            const float direct =
                test::total(direct_geometry(responder.lit.ray, responder.lit.point)) / plain;
            const float bounced = emission_along(test::bounced_ray(responder.lit, direction,
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
        test::add_aov(GeometryLight.aov_list, channel).shader_name = shader;
    };
    add(Channel::lambertian, "");
    add(Channel::lambertian, "undefined");
    add(Channel::lambertian, "lamp");
    add(Channel::glossy, "");
    add(Channel::lambertian, "nobody");
    InitializeGeometryLight();
    const LitPoint lit;
    Ray ray = test::bounced_ray(lit, {0.0f, 0.0f, 1.0f}, Scatter::lambertian, 1);
    ray.weight = splat(0.5f);
    ray.sample_divisor = 3;
    EXPECT_EQ(emission_along(ray), splat(3.0f));
    const std::array<float, 5> expected = {0.5f, 0.0f, 0.5f, 0.0f, 0.0f};
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_FLOAT_EQ(read_pixel(GeometryLight.aov_list[i].image, 0).x, expected[i]) << i;
}

TEST(GeometryLight, WithoutEmittersTurnsItselfOff) {
    LightScene scene;
    scene.add_square(AddObject(), {}, 1.0f, true);
    scene.assemble();
    GeometryLight.sample = 16;
    GeometryLight.aov_list.resize(1);
    InitializeGeometryLight();
    EXPECT_EQ(GeometryLight.sample + GeometryLight.photons, 0);
    EXPECT_EQ(GeometryLight.aov_list[0].image.width, 4);
}

} // namespace mh
