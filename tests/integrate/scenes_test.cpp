// Whole small scenes against closed forms and sums: lamps, glass, caustics, the images of lights.
// SPDX-License-Identifier: MIT
#include "frame/phases.h"
#include "geometry/objects.h"
#include "geometry/state.h"
#include "integrate/pixel_loop.h"
#include "lights/gaffer.h"
#include "lights/state.h"
#include "math/at.h"
#include "output/aov.h"
#include "output/camera.h"
#include "output/state.h"
#include "run/state.h"
#include "scene/scene_reader.h"
#include "shading/fresnel.h"
#include "shading/images.h"
#include "shading/state.h"
#include "support/expect.h"
#include "support/scene.h"
#include "support/statistics.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace mh {
namespace {

using namespace test;

// A sphere of triangles, fronts outwards.
void add_globe(const Vec3& center, float radius, int shader) {
    constexpr int kRings = 32;
    const auto at = [&](int i, int j) {
        const float t = kPi * static_cast<float>(i) / kRings;
        const float p = kPi * static_cast<float>(j) / kRings;
        return center
               + radius * Vec3{std::sin(t) * std::cos(p), std::sin(t) * std::sin(p), std::cos(t)};
    };
    for (int i = 0; i < kRings; ++i) {
        for (int j = 0; j < 2 * kRings; ++j) {
            if (i > 0) add_triangle({at(i, j), at(i + 1, j), at(i, j + 1)}, shader);
            if (i + 1 < kRings)
                add_triangle({at(i + 1, j), at(i + 1, j + 1), at(i, j + 1)}, shader);
        }
    }
}

constexpr int kRuns = 32;

// What a white floor at the origin shows of the lamps, by bounces and light samples, each time from
// another table of the lamps.
Estimate lit_floor(int runs) {
    RendererSettings.sample = GeometryLight.sample = 2048;
    add_floor(0.01f, 0.0f, add_shader(splat(1.0f)));
    return mean_of_runs(runs, [](int) {
        Initialize();
        return static_cast<double>(seen_by_chance({0.003f, -0.002f, 0.005f}, {}).x);
    });
}

// Configuration factors B-3 and B-37 of [Howell82].
TEST(Lamps, RectangleOverItsCornerHasItsFormFactor) {
    Scene scene;
    add_level({0, 0}, {2, 1}, 1, add_lamp(splat(1.0f)), false);
    expect_unbiased("rectangle", lit_floor(96), 0.167375, {0.015});
}

// Overhead, and on the horizon, where half of it is seen: L (t - sin t) / (2 pi), t = 2 asin(r /
// d).
TEST(Lamps, GlobeHasItsFormFactor) {
    for (const bool overhead : {true, false}) {
        Scene scene;
        add_globe(overhead ? Vec3{0, 0, 5} : Vec3{5, 0, 0}, 1.0f, add_lamp(splat(100.0f)));
        expect_unbiased(overhead ? "globe overhead" : "globe on the horizon", lit_floor(kRuns),
                        overhead ? 4.0 : 0.171847, {0.03, 0.004}); // the globe has flat faces
    }
}

// A ray at 45 degrees leaves two units of glass at 2 tan(asin(sin 45 / 1.5)); the lamp behind it
// begins there.
TEST(Glass, SlabShiftsTheRay) {
    const float sine = std::sqrt(0.5f) / 1.5f;
    const float x = 2.0f * sine / std::sqrt(1.0f - sine * sine);
    for (const float begin : {x - 1e-4f, x + 1e-4f}) {
        Scene scene;
        const int glass = add_glass(), lamp = add_lamp(splat(1.0f));
        add_floor(10.0f, 0.0f, glass);
        add_floor(9.0f, -2.0f, glass, false);
        add_level({begin + 1.0f, -1}, {begin + 2.0f, 1}, -3, lamp); // one unit further down
        RendererSettings.ray_depth = 3;
        Initialize();
        EXPECT_EQ(seen_along({-1.0f, 0.0f, 1.0f}, {}).x > 0.5f, begin < x);
    }
}

// Share of parallel light through a glass ball of radius 1 that lands within a disc about the axis,
// `below` its centre; reflections within the ball left out.
double focused_share(double radius, double below) {
    constexpr int kRays = 100000;
    const float f0 = normal_reflectance(1.5f);
    double share = 0.0;
    for (int i = 0; i < kRays; ++i) {
        const double b = (i + 0.5) / kRays, outside = std::asin(b), inside = std::asin(b / 1.5);
        const double exit = outside - 2.0 * inside; // from straight down, about the centre
        const double turn = 2.0 * (outside - inside);
        const double landed = std::sin(exit) + (below - std::cos(exit)) * std::tan(turn);
        if (std::cos(turn) <= 0.0 || std::fabs(landed) > radius) continue;
        const double passed = (1.0 - schlick(f0, static_cast<float>(std::cos(outside))))
                              * (1.0 - schlick(f0, static_cast<float>(std::cos(inside))));
        share += 2.0 * b / kRays * passed;
    }
    return share;
}

TEST(Glass, BallThrowsItsCaustic) {
    constexpr float kBelow = 2.0f;
    Scene scene;
    add_ball({}, 1.0f, add_glass());
    add_floor(1.0f, -kBelow, add_shader(splat(1.0f)));
    add_parallel_light({0.0f, 0.0f, -1.0f}, 400000);
    RendererSettings.sample = 1;
    RendererSettings.radius = 0.2f;
    Initialize();
    for (const float radius : {0.2f, 0.4f, 0.6f}) {
        double seen = 0.0;
        int points = 0;
        for (int i = 0; i < 40 * 40; ++i) {
            const float x = radius * (static_cast<float>(i % 40) - 19.5f) / 20.0f;
            const float y = radius * (static_cast<float>(i / 40) - 19.5f) / 20.0f;
            if (x * x + y * y > radius * radius) continue;
            const Vec3 p = {x, y, -kBelow};
            seen += static_cast<double>(seen_along(p + Vec3{0.0f, 0.0f, 1e-3f}, p).x);
            ++points;
        }
        const double area = static_cast<double>(radius) * static_cast<double>(radius);
        const double expected = focused_share(static_cast<double>(radius), kBelow) / area;
        // photons and points are the same in all runs: nothing is left to chance;
        // the farthest of 32 photons bounds the disc: 32 / 31 too bright on the mean
        EXPECT_NEAR(seen / points / expected, 32.0 / 31.0, 0.05) << radius;
    }
}

// A ball has no chord to jump along: it takes the sky as if it did not diffuse.
TEST(Diffusion, BallOfSkinVanishesInAConstantSky) {
    Scene scene;
    SkyLight.color = splat(0.5f);
    const int skin = add_shader(splat(1.0f));
    slot(skin, Element::diffusion).color = splat(0.01f);
    add_ball({}, 1.0f, skin);
    Initialize();
    EXPECT_NEAR(seen_along({0.1f, 0.2f, 3.0f}, {}).x, 0.5f, 1e-5f);
}

// A black sheet hides half of a floor of skin, and keeps half of the jumps from landing there.
TEST(Diffusion, TakesTheLightWhereItJumps) {
    Scene scene;
    SkyLight.color = splat(1.0f);
    const int skin = add_shader(splat(1.0f));
    slot(skin, Element::diffusion).color = {0.04f, 0.01f, 0.0f}; // weights are roots of the shares
    add_floor(10.0f, 0.0f, skin);
    add_level({0, -10}, {10, 10}, 1e-4f, add_shader());
    RendererSettings.sample = 4096;
    Initialize();
    const auto seen = [](float Vec3::*channel) {
        return mean_of_runs(kRuns, [&](int) {
            return static_cast<double>(seen_by_chance({-1.0f, 0.0f, 1.0f}, {}).*channel);
        });
    };
    expect_unbiased("wide jumps", seen(&Vec3::x), 2.0 / 3.0, {0.045});
    expect_unbiased("short jumps", seen(&Vec3::y), 1.0 / 3.0, {0.045});
    EXPECT_LT(seen(&Vec3::z).mean, 1e-4);
}

Estimate seen_of_fibres(int shader, bool all_lobes) {
    Initialize();
    at(Shaders, shader).hair_table.sample_all_lobes = all_lobes;
    return mean_of_runs(kRuns, [](int run) {
        const Vec3 eye = {0.01f * static_cast<float>(run), 0.02f, 5.0f};
        return static_cast<double>(seen_by_chance(eye, {0.0f, 0.02f, 0.0f}).x);
    });
}

TEST(Hair, FibreVanishesInAWhiteSkyBySamplesOfItAndByBounces) {
    for (const bool bounces : {false, true}) {
        Scene scene;
        set_white_sky(bounces ? 0 : 8192, bounces ? 2048 : 1);
        const Estimate seen = seen_of_fibres(add_fibre(), bounces);
        // the lobes keep 0.96 to 1.05 of the light: what is left bounces on inside the fibre
        expect_unbiased(bounces ? "bounces" : "samples", seen, 1.005,
                        bounces ? Bounds{0.06, 0.018} : Bounds{0.045, 0.0445});
    }
}

// Seen across, a smooth fibre mirrors the sky at every offset h by the Fresnel factor of cos(asin
// h).
TEST(Hair, BouncesOfTheFirstLobeMirrorTheSky) {
    Scene scene;
    set_white_sky(0, 4096);
    constexpr int kSteps = 1000;
    double mirrored = 0.0;
    for (int i = 0; i < kSteps; ++i) {
        const float h = (static_cast<float>(i) + 0.5f) / kSteps;
        mirrored += static_cast<double>(schlick(normal_reflectance(1.55f), std::sqrt(1.0f - h * h))
                                        / kSteps);
    }
    expect_unbiased("mirrored", seen_of_fibres(add_fibre(), false), mirrored, {0.04});
}

TEST(Hair, WhiteDiffuseFibreVanishesInAWhiteSky) {
    Scene scene;
    set_white_sky(0, 64);
    const int shader = add_fibre();
    slot(shader, Element::glossy).color = {};
    slot(shader, Element::lambertian).color = splat(1.0f);
    EXPECT_NEAR(seen_of_fibres(shader, false).mean, 1.0, 1e-5);
}

const std::string kFolder = MOONHARE_SOURCE_DIR "/tests/integrate/";

// Every path's light is counted by one light and one channel.
TEST(LightImages, SumToTheBeautyImage) {
    const TemporaryFolder folder; // of the images
    const SeededDraws draws(1);
    FreshScene scene;
    GeometrySearchPaths = {kFolder};
    ASSERT_TRUE(ReadSceneFile(kFolder + "light_images.mh"));
    Initialize();
    for (std::uint32_t frame = 0; frame < 4; ++frame)
        RenderPixels(frame);
    for (int pixel = 0; pixel < 8 * 8; ++pixel) {
        const Vec3 beauty = read_pixel(Cameras[0].aovs[0].image, pixel);
        Vec3 all, whole_lights;
        for (const auto* list : {&PointLights[0].aov_list, &ParallelLights[0].aov_list,
                                 &GeometryLight.aov_list, &SkyLight.aov_list})
            for (const Aov& aov : *list)
                (holds(aov, Channel::all_light) ? whole_lights : all) +=
                    read_pixel(aov.image, pixel);
        EXPECT_GT(beauty.x, 0.0f);
        EXPECT_NEAR(all.x, beauty.x, 1e-5f * beauty.x);
        EXPECT_NEAR(all.z, beauty.z, 1e-5f * beauty.z);
        EXPECT_NEAR(whole_lights.x, beauty.x, 1e-5f * beauty.x);
    }
    GeometrySearchPaths.clear();
}

} // namespace
} // namespace mh
