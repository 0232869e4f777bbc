// The sky: addressing of its map, its table, its light together with bounces.
// SPDX-License-Identifier: MIT
#include "lights/sky_light.h"

#include "accel/types.h"
#include "frame/types.h"
#include "light_scene.h"
#include "lights/sky_map.h"
#include "math/sampling.h"
#include "output/camera.h"
#include "shading/images.h"
#include "shading/scattering.h"

#include <array>
#include <cmath>

#include <gtest/gtest.h>

namespace mh {

namespace {

using test::LightScene;
using test::LitPoint;

constexpr int kWidth = 8, kHeight = 1024;

// A sky of radiance 1 + slope * z.
void set_sky(float slope) {
    AllocateImage(SkyLight.image, kWidth, kHeight, 3, 32, false);
    for (int y = 0; y < kHeight; ++y) {
        const float z = std::cos(kPi * static_cast<float>(y) / kHeight);
        for (int x = 0; x < kWidth; ++x)
            set_texel(SkyLight.image, y * kWidth + x, splat(1.0f + slope * z));
    }
    SkyLight.image.loaded = true;
    SkyLight.sampler.wrap_v = Wrap::clamp;
    SkyLight.color = splat(1.0f);
}

// The shares of the direct sample of a texel and of the bounce in its direction, for a point of
// one layer.
struct Pair {
    float direct = 0.0f, bounced = 0.0f;
};

Pair pair_of_shares(LitPoint lit, Scatter scatter, float u, int bounces) {
    lit.ray.diffuse_bounces = static_cast<std::uint8_t>(bounces);
    lit.ray.cursor.rotation_u = lit.ray.cursor.rotation_v = u; // the sequence starts with 0
    const std::int32_t texel = pick(SkyLight.sky_table, u);
    const Vec3 direction = sky_texel_direction(texel);
    const Ray bounce = test::bounced_ray(lit, direction, scatter, bounces + 1);
    float plain =
        std::fabs(direction.z) / (kTexelDensity * probability(SkyLight.sky_table, texel) * kPi);
    if (scatter == Scatter::glossy_reflection)
        plain *= 4.0f * kPi * ward_lobe(lit.point.outgoing, direction, lit.point);
    const LightSplit split = direct_sky(lit.ray, lit.point);
    const float light = split.to_lambertian.x + split.to_transmissive.x + split.to_glossy.x;
    return {light / plain, sky_radiance(bounce).x};
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

TEST(SkyMap, TexelsCoverNearlyEqualSolidAngles) {
    double total = 0.0;
    for (int y = 0; y < kSkyFaceSize; y += 3) {
        for (int x = 0; x < kSkyFaceSize; x += 3) {
            const float fx = static_cast<float>(x), fy = static_cast<float>(y);
            const Vec3 p = sky_face_direction(3, fx, fy);
            const Vec3 a = sky_face_direction(3, fx + 1.0f, fy) - p;
            const Vec3 b = sky_face_direction(3, fx, fy + 1.0f) - p;
            const Vec3 n = cross(a, b);
            const double area = std::sqrt(dot(n, n)) * kTexelDensity;
            EXPECT_NEAR(area, 1.0, 0.22) << x << " " << y; // the warp is exact on average only
            total += area;
        }
    }
    EXPECT_NEAR(total / (86.0 * 86.0), 1.0, 0.01);
}

// Sixteen bands of equal height hold the integral of 1 + z each. 99.9 % point of the chi-square
// distribution with 15 degrees of freedom: 37.7.
TEST(SkyTable, PicksDirectionsByTheirRadiance) {
    LightScene scene;
    set_sky(0.9f);
    InitializeSkyLight();
    constexpr int kPicks = 20000, kBands = 16;
    std::array<int, kBands> counts = {};
    for (int i = 0; i < kPicks; ++i) {
        const float u = (static_cast<float>(i) + 0.5f) / kPicks;
        const Vec3 d = SkyLight.to_sky * sky_texel_direction(pick(SkyLight.sky_table, u));
        const int band = static_cast<int>((d.z + 1.0f) * 0.5f * kBands);
        ++counts[static_cast<std::size_t>(std::min(band, kBands - 1))];
    }
    double chi_square = 0.0;
    for (int band = 0; band < kBands; ++band) {
        const double z = (band + 0.5) / kBands * 2.0 - 1.0;
        const double expected = kPicks * (1.0 + 0.9 * z) / kBands;
        const double difference = counts[static_cast<std::size_t>(band)] - expected;
        chi_square += difference * difference / expected;
    }
    EXPECT_LT(chi_square, 37.7);
}

// Irradiance over pi of 1 + s z on a surface that faces the zenith: 1 + 2 s / 3.
TEST(SkyLight, SamplesAndBouncesTogetherGiveTheIrradiance) {
    for (const float slope : {0.0f, 0.9f}) {
        LightScene scene;
        set_sky(slope);
        SkyLight.sample = 4096;
        RendererSettings.bounce_samples = 4096;
        scene.assemble();
        InitializeSkyLight();
        const LitPoint lit;
        float light = direct_sky(lit.ray, lit.point).to_lambertian.x;
        SampleCursor cursor;
        for (std::uint32_t i = 0; i < 4096; ++i) {
            cursor = cursor_at(cursor, i, 0);
            const Vec3 d = sample_cosine_local(next_pair(cursor));
            light += sky_radiance(test::bounced_ray(lit, d, Scatter::lambertian, 1)).x / 4096.0f;
        }
        EXPECT_NEAR(light, 1.0f + slope * 2.0f / 3.0f, 5e-3f) << slope;
    }
}

TEST(SkyLight, SharesOfSamplesAndBouncesSumToOne) {
    LightScene scene;
    set_sky(0.0f);
    scene.assemble(5);
    SkyLight.sample = 5; // one per frame
    InitializeSkyLight();
    RendererSettings.bounce_samples = 3;
    RendererSettings.bounce = 2;
    LitPoint up, down, shiny;
    down.point.lambertian_active = shiny.point.lambertian_active = false;
    down.point.transmissive_active = shiny.point.glossy_active = true;
    shiny.point.reflectance = 1.0f;
    shiny.point.roughness_u = shiny.point.roughness_v = 0.5f;
    for (float u = 0.003f; u < 1.0f; u += 0.01f) {
        for (const int bounces : {0, 1}) {
            const bool above = sky_texel_direction(pick(SkyLight.sky_table, u)).z > 0.0f;
            const Pair diffuse = above ? pair_of_shares(up, Scatter::lambertian, u, bounces)
                                       : pair_of_shares(down, Scatter::transmissive, u, bounces);
            EXPECT_NEAR(diffuse.direct + diffuse.bounced, 1.0f, 1e-3f) << u << " " << bounces;
            if (!above) continue;
            const Pair lobe = pair_of_shares(shiny, Scatter::glossy_reflection, u, bounces);
            EXPECT_NEAR(lobe.direct + lobe.bounced, 1.0f, 1e-3f) << u << " " << bounces;
            EXPECT_GT(lobe.bounced, 0.0f);
        }
    }
}

TEST(SkyLight, WithoutAnImageIsFoundByRaysAlone) {
    LightScene scene;
    SkyLight.image.path = "missing.hdr";
    InitializeSkyLight();
    InitializeSkyLight();
    EXPECT_EQ(SkyLight.sample, 0);
    const LitPoint lit;
    EXPECT_EQ(direct_sky(lit.ray, lit.point).to_lambertian, Vec3{});
    EXPECT_EQ(sky_radiance(test::bounced_ray(lit, {0.0f, 0.0f, 1.0f}, Scatter::lambertian, 1)),
              splat(0.75f));
    set_sky(0.0f);
    SkyLight.color = splat(kNothing);
    InitializeSkyLight();
    EXPECT_EQ(SkyLight.photons, 0);
    EXPECT_EQ(sky_lookup(lit.ray), splat(kNothing)); // still seen
}

TEST(SkyLight, BlackImageHasNoTable) {
    LightScene scene;
    AllocateImage(SkyLight.image, 4, 2, 3, 32, false);
    InitializeSkyLight();
    EXPECT_EQ(SkyLight.sample, 0);
    EXPECT_EQ(SkyLight.sky_table.size, 0);
    Ray photon;
    emit_sky_photon(photon, 17);
    EXPECT_EQ(photon.weight, Vec3{});
}

TEST(SkyLight, FinalisationKeepsLinksImagesNamesAndAovs) {
    LightScene scene;
    SkyLight.image.path = "missing.hdr";
    SkyLight.backdrop.path = "missing.png";
    SkyLight.link.shaders = {0};
    SkyLight.aov_list.resize(2);
    SkyLight.color = {};
    FinalizeSkyLight();
    EXPECT_EQ(SkyLight.image.path, "missing.hdr");
    EXPECT_EQ(SkyLight.backdrop.path, "missing.png");
    EXPECT_EQ(SkyLight.link.shaders.size(), 1u);
    EXPECT_EQ(SkyLight.aov_list.size(), 2u);
    EXPECT_EQ(SkyLight.color, splat(0.75f));
}

} // namespace mh
