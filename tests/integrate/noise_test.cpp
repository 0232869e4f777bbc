// Planes of features and of noise.
// SPDX-License-Identifier: MIT
#include "integrate/noise.h"

#include "frame/phases.h"
#include "integrate/pixel_loop.h"
#include "lights/state.h"
#include "math/random.h"
#include "math/sequence.h"
#include "output/aov.h"
#include "output/feature_planes.h"
#include "run/state.h"
#include "support/expect.h"
#include "support/scene.h"
#include "support/statistics.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>
#include <omp.h>

namespace mh {
namespace {

using namespace test;

// A pixel of a camera at height 1 that looks straight down on what stands at z = 0.
FeaturePlanes planes_of_pixel(int frames) {
    place_camera(1, {0.0f, 0.0f, 1.0f}, {}, {0.0f, 1.0f, 0.0f}, 1.0f);
    Cameras[0].sample = frames;
    AskForPlanes(PlaneNeed::features);
    Initialize();
    for (int frame = 0; frame < frames; ++frame)
        RenderPixels(static_cast<std::uint32_t>(frame));
    return TakeFeaturePlanes();
}

Vec3 of_pixel(const std::vector<float>& values) {
    return {values[0], values[1], values[2]};
}

// A mirror shows the floor's colour, tinted, the floor's own normal and the whole way to it.
TEST(FeaturePlanes, FollowMirrorsToWhatTheyShow) {
    Scene scene;
    const int mirror = add_shader(), red = add_shader({0.5f, 0.25f, 0.0f});
    slot(mirror, Element::specular).color = splat(1.0f);
    slot(mirror, Element::ior).color = splat(3.0f); // reflects a quarter
    add_floor(1.0f, 0.0f, mirror);
    add_floor(9.0f, 3.0f, red, false);
    RendererSettings.ray_depth = 4;
    const FeaturePlanes planes = planes_of_pixel(3);
    for (const std::size_t half : {0u, 1u}) {
        expect_near(of_pixel(planes.albedo.half[half]), {0.125f, 0.0625f, 0.0f}, 1e-3f);
        expect_near(of_pixel(planes.normal.half[half]), {0.0f, 0.0f, -1.0f}, 1e-3f);
        EXPECT_NEAR(planes.depth.half[half][0], 4.0f, 1e-3f);
    }
    EXPECT_EQ(planes.frames[0], 3.0f);
}

// A sun above a floor is direct light, also in a mirror, and a sky that bounces meet is
// not.
TEST(FeaturePlanes, TellDirectLightFromBounces) {
    for (const bool mirrored : {false, true}) {
        Scene scene;
        const int mirror = add_shader(), grey = add_shader(splat(0.5f));
        slot(mirror, Element::specular).color = splat(1.0f);
        slot(mirror, Element::ior).color = splat(3.0f); // reflects a quarter
        if (mirrored) add_floor(0.1f, 0.0f, mirror);
        add_floor(9.0f, mirrored ? 3.0f : 0.0f, grey, !mirrored);
        ParallelLight& sun = add_parallel_light({0.6f, 0.0f, mirrored ? 0.8f : -0.8f});
        sun.color = splat(3.0f);
        sun.blur = 0.0f;
        set_white_sky(0, 4);
        const FeaturePlanes planes = planes_of_pixel(4);
        const float seen = mirrored ? 0.25f : 1.0f;
        for (const std::size_t half : {0u, 1u}) {
            expect_near(of_pixel(planes.direct.half[half]), splat(seen * 1.2f), 1e-3f);
            EXPECT_GT(planes.beauty.half[half][0], seen * 1.4f) << mirrored;
        }
    }
}

// The halves are means over even and over odd frames: together they are the picture.
TEST(FeaturePlanes, HalvesMakeThePicture) {
    Scene scene;
    add_floor(1.0f, 0.0f, add_shader(splat(0.8f)));
    add_floor(2.0f, 3.0f, add_lamp(splat(1.0f)), false);
    constexpr int kFrames = 5;
    RendererSettings.estimator = Estimator::exact;
    const FeaturePlanes planes = planes_of_pixel(kFrames);
    const Vec3 even = of_pixel(planes.beauty.half[0]), odd = of_pixel(planes.beauty.half[1]);
    expect_near((3.0f * even + 2.0f * odd) / kFrames, read_pixel(Cameras[0].aovs[0].image, 0),
                1e-6f);
    EXPECT_NE(even, odd) << even.x;
}

// For frames that are too short to be shared.
struct OneThread {
    OneThread() { omp_set_num_threads(1); }

    ~OneThread() { omp_set_num_threads(before); }

    int before = omp_get_max_threads();
};

// Half a floor under a lamp; what lies left of it is black.
void prepare_half_floor(int size, int frames) {
    add_level({0.0f, -1.0f}, {1.0f, 1.0f}, 0.0f, add_shader(splat(0.8f)));
    add_floor(1.0f, 3.0f, add_lamp(splat(3.0f)), false);
    place_camera(size, {0.0f, 0.0f, 1.5f}, {}, {0.0f, 1.0f, 0.0f}, 50.0f);
    Cameras[0].sample = GeometryLight.sample = RendererSettings.sample = frames;
    RendererSettings.seed = 0;
    AskForPlanes(PlaneNeed::noise);
    Initialize();
}

// The picture of a seed, from empty.
const Image& render_anew(std::int64_t seed) {
    RendererSettings.seed = seed;
    DrawFromSeed(static_cast<std::uint64_t>(seed));
    FillPixelPattern();
    Camera& camera = Cameras[0];
    AllocateAov(camera.aovs[0], camera.width, camera.height);
    AllocatePlanes(camera);
    for (int frame = 0; frame < camera.sample; ++frame)
        RenderPixels(static_cast<std::uint32_t>(frame));
    return camera.aovs[0].image;
}

// The squared errors of the pixels come to the estimated variances, over many sets of seeds.
TEST(Noise, IsAsLargeAsEstimated) {
    const OneThread one_thread;
    constexpr int kSets = 32, kSeeds = 12, kSize = 16, kPixels = kSize * kSize;
    const auto estimated_over_true = [&](int set) {
        std::vector<double> sums(kPixels), squares(kPixels);
        double estimated = 0.0, happened = 0.0;
        for (int seed = 0; seed < kSeeds; ++seed) {
            const Image& beauty = render_anew(kSeeds * set + seed);
            for (std::size_t i = 0; i < kPixels; ++i) {
                const auto value = static_cast<double>(read_pixel(beauty, static_cast<int>(i)).x);
                sums[i] += value;
                squares[i] += value * value;
            }
            for (const BlockNoise& block : MeasureBlocks())
                estimated += static_cast<double>(block.variance * block.pixels) / kSeeds;
        }
        for (std::size_t i = 0; i < kPixels; ++i)
            happened += (squares[i] - sums[i] * sums[i] / kSeeds) / (kSeeds - 1);
        return std::sqrt(estimated / happened);
    };
    for (const Estimator estimator : {Estimator::classic, Estimator::exact}) {
        Scene scene;
        RendererSettings.estimator = estimator;
        prepare_half_floor(kSize, 16);
        const bool exact = estimator == Estimator::exact;
        expect_unbiased(exact ? "exact" : "classic", mean_of_runs(kSets, estimated_over_true), 1.0,
                        {0.16, exact ? 0.05 : 0.1});
    }
}

// Frames go to the half with noise, and over many seeds the picture is no darker or brighter for
// it.
TEST(Adaptive, GivesFramesToNoiseAndIsUnbiased) {
    const OneThread one_thread;
    constexpr int kSeeds = 40, kSize = 32;
    Estimate light[2];
    for (const bool adaptive : {false, true}) {
        Scene scene;
        RendererSettings.adaptive = adaptive;
        RendererSettings.estimator = Estimator::exact;
        prepare_half_floor(kSize, 32);
        light[adaptive] = mean_of_runs(kSeeds, [&](int seed) {
            render_anew(seed + adaptive * kSeeds);
            double of_blocks = 0.0;
            for (const BlockNoise& block : MeasureBlocks())
                of_blocks += static_cast<double>(block.light);
            return of_blocks;
        });
        EXPECT_EQ(frames_done()[0], adaptive ? 16.0f : 32.0f); // black
        const std::vector<float>& frames = frames_done();
        EXPECT_EQ(*std::max_element(frames.begin(), frames.end()) > 32.0f, adaptive);
        const auto whole = std::count_if(frames.begin(), frames.end(), [](float n) {
            return std::has_single_bit(static_cast<std::uint32_t>(n));
        });
        EXPECT_GE(whole, kSize * kSize - 64) << "more than one block ends within a set of points";
    }
    const double error = std::hypot(light[0].error, light[1].error);
    expect_unbiased("adaptive", {light[1].mean, error, kSeeds}, light[0].mean, {0.008});
}

} // namespace
} // namespace mh
