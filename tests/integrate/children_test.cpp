// Children of a ray, their directions and their number.
// SPDX-License-Identifier: MIT
#include "integrate/children.h"

#include "integrate/bounces.h"
#include "math/at.h"
#include "math/frame.h"
#include "math/roots.h"
#include "output/state.h"
#include "run/state.h"
#include "support/expect.h"
#include "support/scene.h"

#include <cmath>
#include <limits>
#include <tuple>

#include <gtest/gtest.h>

namespace mh {
namespace {

using namespace test;

struct Children : testing::Test {
    Scene scene;
};

TEST_F(Children, GatherCountIsAMultipleOfTheFrames) {
    constexpr int kMost = std::numeric_limits<int>::max();
    const std::tuple<float, int, int, int> cases[] = {
        {0.5f, 64, 4, 32},    {0.66f, 64, 4, 40}, {0.01f, 64, 4, 4},
        {1.0f, 64, 100, 100}, {kNan, 64, 4, 4},   {kInfinity, 64, 4, 64},
        {-1.0f, 64, 4, 4},    {1.0f, -5, 4, 4},   {1.0f, kMost, 1, kMost}};
    for (const auto& [weight, sample, frames, count] : cases) {
        RendererSettings.bounce_samples = sample;
        Cameras[0].sample = frames;
        EXPECT_EQ(gather_count(splat(weight)), count) << weight << " of " << sample;
    }
}

Ray parent_ray() {
    Ray ray = camera_ray({}, {0.0f, 0.0f, -1.0f});
    ray.cursor = {0.25f, 0.5f, 7, 4};
    ray.refraction = 1.5f;
    ray.hit_primitive = 5;
    ray.depth = 4;
    ray.diffuse_bounces = ray.glossy_bounces = 1;
    ray.specular_bounces = 2;
    ray.scatter = Scatter::glossy_reflection;
    ray.prior_scatter = Scatter::lambertian;
    return ray;
}

TEST_F(Children, CountTheirBounceAndItsDimensions) {
    const Ray ray = parent_ray();
    for (int kind = 2; kind <= 7; ++kind) {
        const Ray child = spawn_child(ray, {}, static_cast<Scatter>(kind));
        EXPECT_EQ(child.diffuse_bounces, kind <= 3 ? 2 : 1);
        EXPECT_EQ(child.glossy_bounces, kind == 4 || kind == 5 ? 2 : 1);
        EXPECT_EQ(child.specular_bounces, kind >= 6 ? 3 : 2);
        EXPECT_EQ(child.cursor.dimension, kind >= 6 ? 4u : 6u);
        EXPECT_EQ(child.source_primitive, 5);
        // a run of equal bounces counts once
        EXPECT_EQ(child.prior_scatter,
                  kind == 4 ? Scatter::lambertian : Scatter::glossy_reflection);
    }
}

SurfacePoint slanted_point() {
    SurfacePoint point;
    point.normal = point.geometric_normal = normalize({1.0f, -2.0f, 0.5f});
    tangent_frame(point.normal, point.tangent, point.bitangent);
    return point;
}

// Cells of equal probability: cos^2 is uniform under the cosine lobe, and so is the angle.
TEST_F(Children, DiffuseDirectionsFollowTheCosine) {
    constexpr int kRings = 8, kSectors = 8, kDraws = 16384;
    const SurfacePoint point = slanted_point();
    for (const Scatter scatter : {Scatter::lambertian, Scatter::transmissive}) {
        const float side = scatter == Scatter::lambertian ? 1.0f : -1.0f;
        std::vector<int> counts(kRings * kSectors);
        for (std::uint32_t i = 0; i < kDraws; ++i) {
            Vec3 w;
            ASSERT_TRUE(sample_diffuse({0.3f, 0.7f, i, 0}, point, scatter, w));
            const float cosine = side * dot(w, point.normal);
            ASSERT_GE(cosine, 0.0f);
            const float turns = std::atan2(dot(w, point.bitangent), dot(w, point.tangent)) / kTwoPi;
            const int ring = std::min(static_cast<int>(cosine * cosine * kRings), kRings - 1);
            const int sector = static_cast<int>((turns + 1.0f) * kSectors) % kSectors;
            ++at(counts, ring * kSectors + sector);
        }
        constexpr double kExpected = static_cast<double>(kDraws) / (kRings * kSectors);
        EXPECT_LT(chi_square(counts, kExpected), 103.4); // 63 degrees of freedom at 0.1 %
    }
}

TEST_F(Children, FacetReflectsAllWhenNothingPasses) {
    SurfacePoint point = slanted_point();
    point.refraction_kind = Material::solid;
    point.reflectance = 0.25f;
    point.eta = 1.5f;
    for (const float sine : {0.3f, 0.9f}) { // the critical angle is asin(0.667)
        Ray ray = parent_ray();
        point.cos_outgoing = std::sqrt(1.0f - sine * sine);
        ray.direction = sine * point.tangent - point.cos_outgoing * point.normal;
        const FacetSplit split = split_at_surface(ray, point);
        EXPECT_EQ(split.refracts, sine < 0.6f);
        EXPECT_EQ(split.reflected_share, sine < 0.6f ? 0.25f : 1.0f);
        expect_near(split.reflected, sine * point.tangent + point.cos_outgoing * point.normal);
        if (!split.refracts) continue;
        EXPECT_NEAR(dot(split.refracted, point.tangent), 1.5f * sine, 1e-6f);
    }
}

TEST_F(Children, RefractionReturnsToTheIndexItCameFrom) {
    SurfacePoint point = slanted_point();
    Cameras[0].ior = 1.33f;
    Ray ray = parent_ray();
    for (const float start : {1.0f, 1.33f}) {
        ray.refraction = start;
        point.eta = 1.0f / 1.7f;
        const Ray inside = refracted_child(ray, point, Scatter::specular_refraction, {}, {});
        EXPECT_NEAR(inside.refraction, start / 1.7f, 1e-6f);
        point.eta = 1.700001f; // the index as textures and roundings may return it
        const Ray outside = refracted_child(inside, point, Scatter::specular_refraction, {}, {});
        EXPECT_EQ(outside.refraction, start);
    }
}

TEST_F(Children, ThinSheetIsNotThereForLightSamples) {
    SurfacePoint point, source;
    point.refraction_kind = Material::thin;
    Ray ray = parent_ray();
    ray.source_point = &source;
    const Ray child = refracted_child(ray, point, Scatter::specular_refraction, {}, {});
    EXPECT_EQ(child.source_point, &source);
    EXPECT_EQ(child.scatter, ray.scatter);
    EXPECT_EQ(child.prior_scatter, ray.prior_scatter);
    EXPECT_EQ(child.specular_bounces, 3);
}

} // namespace
} // namespace mh
