// The sky: addressing of its map, its table, its light together with bounces.
// SPDX-License-Identifier: MIT
#include "lights/sky_light.h"

#include "frame/phases.h"
#include "light_scene.h"
#include "lights/sky_map.h"
#include "lights/state.h"
#include "math/at.h"
#include "math/sampling.h"
#include "output/aov.h"
#include "output/state.h"
#include "run/state.h"
#include "shading/images.h"
#include "support/expect.h"
#include "support/scene.h"

#include <algorithm>
#include <cmath>

#include <gtest/gtest.h>

namespace mh::test {
namespace {

constexpr float kSlope = 0.9f;

// A sky of radiance 1 + slope * z.
void set_sloped_sky() {
    constexpr int kHeight = 512;
    AllocateImage(SkyLight.image, 1, kHeight, 3, 32, false);
    for (int y = 0; y < kHeight; ++y) {
        const float z = std::cos(kPi * static_cast<float>(y) / kHeight);
        set_texel(SkyLight.image, y, splat(1.0f + kSlope * z));
    }
    SkyLight.image.loaded = true;
    SkyLight.sampler.wrap_v = Wrap::clamp;
    SkyLight.color = splat(1.0f);
}

// Bands of equal height hold the integral of 1 + slope * z each.
void expect_picks_by_radiance() {
    constexpr int kPicks = 20000, kBands = 16;
    std::vector<int> counts(kBands);
    std::vector<double> expected;
    for (int band = 0; band < kBands; ++band)
        expected.push_back(kPicks * (1.0 + kSlope * ((2.0 * band + 1.0) / kBands - 1.0)) / kBands);
    for (int i = 0; i < kPicks; ++i) {
        const float u = (static_cast<float>(i) + 0.5f) / kPicks;
        const Vec3 d = sky_texel_direction(pick(SkyLight.sky_table, u));
        const int band = static_cast<int>((d.z + 1.0f) * 0.5f * kBands);
        ++at(counts, std::min(band, kBands - 1));
    }
    EXPECT_LT(chi_square(counts, expected), kChiSquare15);
}

// Irradiance over pi on a surface that faces the zenith: 1 + 2 slope / 3. The solid angles of the
// texels are equal on average only.
void expect_irradiance() {
    constexpr int kSamples = 4096;
    SkyLight.sample = RendererSettings.bounce_samples = kSamples;
    const LitPoint lit;
    float light = direct_sky(lit.ray, lit.point).to_lambertian.x;
    for (std::uint32_t i = 0; i < kSamples; ++i) {
        SampleCursor cursor{0.0f, 0.0f, i, 0};
        const Vec3 d = sample_cosine_local(next_pair(cursor));
        light += sky_radiance(bounced_ray(lit, d, Scatter::lambertian, 1)).x / kSamples;
    }
    EXPECT_NEAR(light, 1.0f + kSlope * 2.0f / 3.0f, 5e-3f);
}

// The share of one direct sample and that of a bounce in its direction. Neighbouring texels differ
// by up to 1 % of their radiance.
void expect_shares_sum_to_one(Responder responder, float u, int bounces) {
    responder.lit.ray.diffuse_bounces = static_cast<std::uint8_t>(bounces);
    SampleCursor& cursor = responder.lit.ray.cursor;
    cursor.rotation_u = cursor.rotation_v = u; // the sequence starts with 0
    const std::int32_t texel = pick(SkyLight.sky_table, u);
    const Vec3 direction = sky_texel_direction(texel);
    if (direction.z < 0.05f) return;
    const float density = kTexelDensity * probability(SkyLight.sky_table, texel);
    const float radiance = sky_direction_radiance(direction).x;
    const float direct = total(direct_sky(responder.lit.ray, responder.lit.point)) * density
                         / (radiance * response(responder, direction));
    const Ray bounce = bounced_ray(responder.lit, direction, responder.scatter, bounces + 1);
    const float bounced = sky_radiance(bounce).x / sky_lookup(bounce).x;
    EXPECT_GT(direct, 0.0f) << responder.name << " " << u;
    EXPECT_GT(bounced, 0.0f) << responder.name << " " << u;
    EXPECT_NEAR(direct + bounced, 1.0f, 1e-2f) << responder.name << " " << u << " " << bounces;
}

} // namespace

TEST(SkyMap, TexelsAreFoundAgainByTheirDirection) {
    for (std::int32_t texel = 0; texel < kSkyTexels; ++texel) {
        const int face = texel / 65536;
        const float x = static_cast<float>(texel % 256), y = static_cast<float>(texel / 256 % 256);
        ASSERT_EQ(sky_texel(sky_face_direction(face, x + 0.5f, y + 0.5f)), texel);
    }
    EXPECT_EQ(sky_texel({1.0f, 1.0f, 1.0f}) / 65536, 0); // ties go to the first axis
    EXPECT_EQ(sky_texel({-0.5f, -1.0f, 1.0f}) / 65536, 5);
    for (const Vec3& d : {Vec3{}, Vec3{NAN, 0.0f, 0.0f}, Vec3{INFINITY, -INFINITY, 1.0f}}) {
        EXPECT_GE(sky_texel(d), 0);
        EXPECT_LT(sky_texel(d), kSkyTexels);
    }
}

// The warp is exact on average; between -10 % in the middle of an edge and +21 % in a corner.
TEST(SkyMap, TexelsCoverNearlyEqualSolidAngles) {
    double total = 0.0;
    for (int i = 0; i < kSkyTexels; i += kSkyFaces) {
        const int face = i / 65536;
        const float x = static_cast<float>(i % 256), y = static_cast<float>(i / 256 % 256);
        const Vec3 p = sky_face_direction(face, x, y);
        const Vec3 n = cross(sky_face_direction(face, x + 1.0f, y) - p,
                             sky_face_direction(face, x, y + 1.0f) - p);
        const double area = std::sqrt(dot(n, n)) * kTexelDensity;
        ASSERT_NEAR(area, 1.05, 0.17) << i;
        total += area;
    }
    EXPECT_NEAR(total * kSkyFaces / kSkyTexels, 1.0, 1e-3);
}

struct SkyLightTest : testing::Test {
    Scene scene;
    LitPoint lit;
};

TEST_F(SkyLightTest, ImageLightsByItsTableInBalanceWithBounces) {
    set_sloped_sky();
    Initialize();
    const std::vector<Responder> responders = all_responders();
    expect_picks_by_radiance();
    expect_irradiance();
    SkyLight.sample = Cameras[0].sample = 5; // one per frame
    RendererSettings.bounce_samples = 3;
    RendererSettings.bounce = 2;
    for (float u = 0.003f; u < 1.0f; u += 0.02f)
        for (const Responder& responder : responders)
            for (const int bounces : {0, 1})
                expect_shares_sum_to_one(responder, u, bounces);
}

TEST_F(SkyLightTest, IsFoundByRaysAloneWithoutAnImage) {
    SkyLight.color = splat(0.75f);
    SkyLight.image.path = "missing.hdr";
    SkyLight.link.names = {"undefined"};
    SkyLight.aov_list.resize(1);
    Initialize();
    EXPECT_NE(scene.library.take_report().find("sky light map width                  0 [ n/a ]\n"),
              std::string::npos);
    EXPECT_EQ(SkyLight.sample, 0);
    EXPECT_EQ(direct_sky(lit.ray, lit.point).to_lambertian, Vec3{});
    Ray ray = bounced_ray(lit, {0.0f, 0.0f, 1.0f}, Scatter::lambertian, 1);
    EXPECT_EQ(sky_radiance(ray), splat(0.75f));
    EXPECT_EQ(read_pixel(SkyLight.aov_list[0].image, 0), splat(0.75f));
    ray.source_shader = -1; // a camera ray is linked to nothing
    EXPECT_EQ(sky_radiance(ray), Vec3{});
}

TEST_F(SkyLightTest, IsSeenButLightsNothingBelowTheThreshold) {
    set_sloped_sky();
    SkyLight.color = splat(kNothing);
    SkyLight.photons = 9;
    InitializeSkyLight();
    EXPECT_EQ(SkyLight.photons + SkyLight.sample, 0);
    Ray ray;
    ray.direction = {0.0f, 0.0f, 1.0f};
    EXPECT_FLOAT_EQ(sky_lookup(ray).x, (1.0f + kSlope) * kNothing);
}

TEST_F(SkyLightTest, BackdropIsSeenByCameraRaysAlone) {
    Cameras[0].width = Cameras[0].height = 4;
    AllocateImage(SkyLight.backdrop, 4, 4, 3, 32, false);
    set_texel(SkyLight.backdrop, 6, {1.0f, 2.0f, 3.0f});
    ThreadStates[0].pixel = 6;
    EXPECT_EQ(sky_lookup(lit.ray), (Vec3{1.0f, 2.0f, 3.0f}));
    lit.ray.depth = 1;
    EXPECT_EQ(sky_lookup(lit.ray), SkyLight.color);
    ThreadStates[0].pixel = 0;
}

} // namespace mh::test
