// First rays of photons: together they carry the flux of their light over pi.
// SPDX-License-Identifier: MIT
#include "accel/types.h"
#include "frame/types.h"
#include "geometry/objects.h"
#include "light_scene.h"
#include "lights/gaffer.h"
#include "lights/geometry_light.h"
#include "lights/sky_light.h"
#include "math/roots.h"
#include "shading/images.h"
#include "support/expect.h"

#include <cmath>
#include <functional>

#include <gtest/gtest.h>

namespace mh {
namespace {

using test::LightScene;

constexpr int kPhotons = 20000;

struct Emission {
    Vec3 power;                  // of all photons
    float farthest = 0.0f;       // largest passing distance from the scene's centre
    float within_half = 0.0f;    // share that passes within half the scene's radius
    float mean_cosine = 0.0f;    // of directions with the third axis
    std::uint32_t dimension = 0; // of the last
};

Emission emit(const std::function<void(Ray&, std::int64_t)>& first_ray) {
    Emission all;
    for (std::int64_t i = 0; i < kPhotons; ++i) {
        Ray ray;
        ray.source_shader = 3; // what a used record may hold
        ray.depth = 7;
        first_ray(ray, i);
        EXPECT_TRUE(ray.photon && ray.depth == 0 && ray.source_shader == -1);
        EXPECT_TRUE(ray.source_kind == HitKind::unset && ray.photon_link != nullptr);
        EXPECT_EQ(ray.cursor.sample, static_cast<std::uint32_t>(i));
        EXPECT_NEAR(dot(ray.direction, ray.direction), 1.0f, 1e-5f);
        const Vec3 to_center = SceneCenter - ray.origin;
        const float distance = length(cross(to_center, ray.direction));
        all.power += ray.power * ray.weight;
        all.farthest = std::max(all.farthest, distance);
        all.within_half += distance < 0.5f * SceneRadius ? 1.0f / kPhotons : 0.0f;
        all.mean_cosine += ray.direction.z / kPhotons;
        all.dimension = ray.cursor.dimension;
    }
    return all;
}

Emission emit(const Light& light) {
    return emit([&](Ray& ray, std::int64_t i) { light.emit_photon(ray, i); });
}

// A square of half width 3 about (5, 0, 0).
struct PhotonScene : LightScene {
    PhotonScene() {
        add_square(AddObject(), {5.0f, 0.0f, 0.0f}, 3.0f, true);
        assemble();
    }

    const float radius = std::sqrt(18.0f);
};

} // namespace

TEST(PhotonEmission, ParallelLightCoversTheScene) {
    const PhotonScene scene;
    ParallelLight& light = test::add_parallel_light({0.0f, 0.6f, -0.8f}, kPhotons);
    light.color = {1.0f, 0.5f, 0.0f};
    InitializeGaffer();
    const Emission all = emit(light);
    const float expected = kPi * scene.radius * scene.radius; // pi R^2 color
    EXPECT_NEAR(all.power.x, expected, 1e-3f * expected);
    EXPECT_NEAR(all.power.y, 0.5f * expected, 1e-3f * expected);
    EXPECT_LT(all.farthest, scene.radius * 1.001f);
    EXPECT_NEAR(all.within_half, 0.25f, 3e-3f);
    EXPECT_NEAR(all.mean_cosine, -0.8f, 1e-4f);
    EXPECT_EQ(all.dimension, 2u);
    light.axis = {0.0f, 0.0f, 1.0f};
    light.blur = 60.0f;
    InitializeGaffer();
    const Emission blurred = emit(light);
    EXPECT_NEAR(blurred.power.x, expected, 1e-3f * expected);
    EXPECT_NEAR(blurred.mean_cosine, 0.75f, 2e-3f); // (1 + cos 60) / 2
    EXPECT_EQ(blurred.dimension, 4u);
}

TEST(PhotonEmission, PointLightInsideEmitsItsFalloff) {
    const PhotonScene scene;
    PointLight& light = PointLights[static_cast<std::size_t>(AddPointLight())];
    light.position = {5.0f, 0.0f, 1.0f};
    light.direction = {0.0f, 0.0f, -1.0f};
    light.photons = kPhotons;
    InitializeGaffer();
    EXPECT_TRUE(light.inside_scene);
    // The mean of 1 - angle / pi over the sphere is 1/2.
    EXPECT_NEAR(emit(light).power.x, 2.0f * kPi, 2e-3f * kTwoPi);
    light.inner_angle = light.outer_angle = 60.0f; // a quarter of the sphere
    light.blur = 0.1f;
    InitializeGaffer();
    const Emission cone = emit(light);
    EXPECT_NEAR(cone.power.x, kPi, 2e-3f * kPi);
    EXPECT_EQ(cone.dimension, 3u);
}

// 2 pi (1 - cos) of the cone that holds the scene, also from where 1 - cos has no digits in float.
TEST(PhotonEmission, PointLightOutsideEmitsTowardsTheScene) {
    for (const float distance : {6.0f, 1e5f}) {
        const PhotonScene scene;
        const PointLight& light = test::add_point_light({5.0f, 0.0f, distance}, kPhotons);
        InitializeGaffer();
        EXPECT_FALSE(light.inside_scene);
        const Emission all = emit(light);
        const double angle = std::atan2(scene.radius, distance);
        const double expected = 4.0 * kPi * std::pow(std::sin(0.5 * angle), 2.0);
        EXPECT_NEAR(all.power.x / expected, 1.0, 1e-3) << distance;
        EXPECT_LT(all.farthest, scene.radius * 1.01f) << distance;
        EXPECT_GT(all.farthest, 0.7f * scene.radius) << distance;
    }
}

TEST(PhotonEmission, SkyCoversTheSceneFromAllSidesByItsTable) {
    const PhotonScene scene;
    SkyLight.photons = kPhotons;
    SkyLight.color = splat(0.5f);
    InitializeSkyLight();
    const float expected = 4.0f * kPi * scene.radius * scene.radius; // 4 pi R^2 radiance
    const Emission plain = emit(emit_sky_photon);
    EXPECT_NEAR(plain.power.x, 0.5f * expected, 1e-3f * expected);
    EXPECT_NEAR(plain.within_half, 0.25f, 5e-3f);
    EXPECT_NEAR(plain.mean_cosine, 0.0f, 1e-3f);
    AllocateImage(SkyLight.image, 2, 512, 3, 32, false); // bright above, dim below
    for (int i = 0; i < 1024; ++i)
        set_texel(SkyLight.image, i, splat(i < 512 ? 3.0f : 1.0f));
    InitializeSkyLight();
    const Emission mapped = emit(emit_sky_photon);
    EXPECT_NEAR(mapped.power.x, expected, 1e-2f * expected); // mean radiance 0.5 * 2
    EXPECT_NEAR(mapped.mean_cosine, -0.25f, 1e-2f);          // (3 - 1) / (3 + 1) * 1/2, downwards
}

TEST(PhotonEmission, EmittersEmitTheirAreaTimesTheirRadiance) {
    LightScene scene;
    const int shader = scene.add_emitter({2.0f, 1.0f, 0.0f}, Sideness::back, false);
    scene.add_square(AddObject(), {0.0f, 0.0f, 1e4f}, 1.5f, true, shader);
    scene.assemble();
    GeometryLight.photons = kPhotons;
    InitializeGeometryLight();
    const Emission all = emit([](Ray& ray, std::int64_t i) {
        emit_geometry_photon(ray, i);
        EXPECT_FALSE(ray.photon_caustic);
        EXPECT_LT(ray.origin.z, 1e4f); // off the face, on its back
        EXPECT_GT(ray.origin.z, 1e4f - 0.1f);
    });
    EXPECT_NEAR(all.power.x, 18.0f, 1e-2f);
    EXPECT_NEAR(all.power.y, 9.0f, 1e-2f);
    EXPECT_NEAR(all.mean_cosine, -2.0f / 3.0f, 2e-3f);
    EXPECT_EQ(all.dimension, 4u);
}

} // namespace mh
