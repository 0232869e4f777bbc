// First rays of photons: together they carry the flux of their light over pi, from far away too,
// where floats have few digits. What they leave is compared with paths in integrate/photons_test.cpp.
// SPDX-License-Identifier: MIT
#include "accel/types.h"
#include "frame/types.h"
#include "geometry/objects.h"
#include "light_scene.h"
#include "lights/gaffer.h"
#include "lights/geometry_light.h"
#include "math/roots.h"
#include "support/expect.h"

#include <cmath>
#include <functional>

#include <gtest/gtest.h>

namespace mh {
namespace {

using test::LightScene;

constexpr int kPhotons = 20000;

struct Emission {
    Vec3 power;               // of all photons
    float farthest = 0.0f;    // largest passing distance from the scene's centre
    float mean_cosine = 0.0f; // of directions with the third axis
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
        all.power += ray.power * ray.weight;
        all.farthest = std::max(all.farthest, length(cross(to_center, ray.direction)));
        all.mean_cosine += ray.direction.z / kPhotons;
    }
    return all;
}

Emission emit(const Light& light) {
    return emit([&](Ray& ray, std::int64_t i) { light.emit_photon(ray, i); });
}

} // namespace

// pi R^2 on the disk of the scene, whatever the directions, whose mean cosine is (1 + cos 60) / 2.
TEST(PhotonEmission, BlurredParallelLightFillsItsCone) {
    LightScene scene;
    scene.add_square(AddObject(), {}, 3.0f, true);
    scene.assemble();
    ParallelLight& light = test::add_parallel_light({0.0f, 0.0f, 1.0f}, kPhotons);
    light.blur = 60.0f;
    InitializeGaffer();
    const Emission all = emit(light);
    EXPECT_NEAR(all.power.x, kPi * 18.0f, 1e-3f * kPi * 18.0f);
    EXPECT_NEAR(all.mean_cosine, 0.75f, 2e-3f);
}

// 2 pi (1 - cos) of the cone that holds the scene, also from where 1 - cos has no digits in float.
TEST(PhotonEmission, PointLightOutsideEmitsTowardsTheScene) {
    for (const float distance : {6.0f, 1e5f}) {
        LightScene scene;
        scene.add_square(AddObject(), {5.0f, 0.0f, 0.0f}, 3.0f, true);
        scene.assemble();
        const PointLight& light = test::add_point_light({5.0f, 0.0f, distance}, kPhotons);
        InitializeGaffer();
        EXPECT_FALSE(light.inside_scene);
        const Emission all = emit(light);
        const double angle = std::atan2(SceneRadius, distance);
        const double expected = 4.0 * kPi * std::pow(std::sin(0.5 * angle), 2.0);
        EXPECT_NEAR(all.power.x / expected, 1.0, 1e-3) << distance;
        EXPECT_LT(all.farthest, SceneRadius * 1.01f) << distance;
        EXPECT_GT(all.farthest, 0.7f * SceneRadius) << distance;
    }
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
}

} // namespace mh
