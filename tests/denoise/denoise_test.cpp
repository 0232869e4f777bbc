// Properties of the filter, on pictures that are made here.
// SPDX-License-Identifier: MIT
#include "denoise/denoise.h"

#include "math/at.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>

#include <gtest/gtest.h>
#include <omp.h>

namespace mh {
namespace {

constexpr int kWide = 70, kHigh = 45; // neither is a whole number of tiles

using Value = std::function<float(int x, int y, int c)>;

std::vector<float> image_of(int channels, const Value& value) {
    std::vector<float> image;
    for (int y = 0; y < kHigh; ++y)
        for (int x = 0; x < kWide; ++x)
            for (int c = 0; c < channels; ++c)
                image.push_back(value(x, y, c));
    return image;
}

NoisyImage both(const std::vector<float>& image, int channels) {
    return {channels, {image, image}};
}

// A picture, two halves of it with noise of this deviation each, and features.
struct Case {
    std::vector<float> truth, albedo, normal, depth;
    std::vector<float> half[2];

    Case(const Value& picture, float deviation, const Value& colour) {
        truth = image_of(3, picture);
        albedo = image_of(3, colour);
        normal = image_of(3, [](int x, int y, int c) { // a waved surface
            return std::sin(0.4f * static_cast<float>(c == 0 ? x : y) + static_cast<float>(c));
        });
        depth = image_of(1, [](int x, int y, int) {
            return 5.0f + 0.001f * static_cast<float>(x * y) + (x > 40 ? 3.0f : 0.0f);
        });
        std::minstd_rand source(7);
        std::normal_distribution<float> draw;
        for (std::vector<float>& values : half)
            for (const float value : truth)
                values.push_back(value + deviation * draw(source));
    }

    DenoiseInput input() const {
        DenoiseInput input;
        input.width = kWide;
        input.height = kHigh;
        input.picture = {3, {half[0], half[1]}};
        input.albedo = both(albedo, 3);
        input.normal = both(normal, 3);
        input.depth = both(depth, 1);
        return input;
    }
};

double mean_square(const std::vector<float>& a, const std::vector<float>& b) {
    double sum = 0.0;
    for (std::size_t i = 0; i < a.size(); ++i)
        sum += std::pow(static_cast<double>(a[i] - b[i]), 2.0);
    return sum / static_cast<double>(a.size());
}

double largest_difference(const std::vector<float>& a, const std::vector<float>& b) {
    double most = 0.0;
    for (std::size_t i = 0; i < a.size(); ++i)
        most = std::max(most, std::fabs(static_cast<double>(a[i] - b[i])));
    return most;
}

std::vector<float> mean_of_halves(const Case& made) {
    std::vector<float> mean;
    for (std::size_t i = 0; i < made.truth.size(); ++i)
        mean.push_back(0.5f * (made.half[0][i] + made.half[1][i]));
    return mean;
}

float flat(int, int, int) {
    return 0.5f;
}

TEST(Denoise, KeepsWhatTheFeaturesExplain) {
    const Value steps = [](int x, int y, int c) {
        return 0.1f * static_cast<float>(c + 1) + 0.6f * static_cast<float>((x / 9 + y / 7) % 2);
    };
    const Case constant(flat, 0.0f, flat);
    EXPECT_LT(largest_difference(Denoise(constant.input()).picture, constant.truth), 1e-6);
    // Linear in all features, said to be so noisy that likeness tells nothing.
    Case linear(flat, 0.0f, steps);
    for (std::size_t i = 0; i < linear.depth.size(); ++i)
        for (std::size_t c = 0; c < 3; ++c)
            linear.truth[3 * i + c] = 1.0f + 0.7f * linear.albedo[3 * i + c]
                                      + 0.2f * linear.normal[3 * i]
                                      - 0.3f * linear.normal[3 * i + 1] + 0.1f * linear.depth[i];
    const std::vector<float> variance(linear.depth.size(), 100.0f);
    DenoiseInput input = linear.input();
    input.picture = both(linear.truth, 3);
    input.variance = variance;
    EXPECT_LT(largest_difference(Denoise(input).picture, linear.truth), 1e-4);
    // The same for a part of a picture, with the picture's windows.
    input.picture = both(linear.half[0], 3);
    input.parts = {linear.truth};
    EXPECT_LT(largest_difference(Denoise(input).parts[0], linear.truth), 1e-4);
}

TEST(Denoise, DoesNotCrossAnEdgeOfAFeature) {
    const Value edge = [](int x, int, int) { return x < 33 ? 0.2f : 0.8f; };
    const Case made(edge, 0.1f, edge);
    const std::vector<float> picture = Denoise(made.input()).picture;
    for (const int x : {32, 33}) {
        double sum = 0.0;
        for (int y = 0; y < kHigh; ++y)
            for (int c = 0; c < 3; ++c)
                sum += static_cast<double>(at(picture, 3 * (y * kWide + x) + c));
        // 135 values whose noise had a deviation of 0.07: a hundredth of the step is 1.0 of their
        // mean's.
        EXPECT_NEAR(sum / (3.0 * kHigh), x < 33 ? 0.2 : 0.8, 0.012) << "column " << x;
    }
    EXPECT_LT(mean_square(picture, made.truth), 0.005 / 20.0);
}

// The edge of a shadow, whose noise is most of what light there differs by, above flat features.
TEST(Denoise, FindsEdgesThatNoFeatureShows) {
    const Value shadow = [](int x, int y, int) { return 3 * x + y < 120 ? 0.3f : 1.0f; };
    const Case made(shadow, 0.4f, flat);
    std::vector<float> spread(made.truth.size(), 0.08f);
    DenoiseInput input = made.input();
    input.spread = spread;
    const std::vector<float> picture = Denoise(input).picture;
    double error = 0.0, count = 0.0;
    for (int y = 0; y < kHigh; ++y)
        for (int x = (120 - y) / 3 - 2; x <= (120 - y) / 3 + 3; ++x, ++count)
            error += std::pow(
                static_cast<double>(at(picture, 3 * (y * kWide + x)) - shadow(x, y, 0)), 2.0);
    EXPECT_LT(error / count,
              0.022); // the noise has 0.08, one pass with the same tolerance leaves 0.04
}

// Shadows as fine as pixels, which have no noise, leave what comes by bounces as smooth as it is.
TEST(Denoise, FiltersBouncedLightApartFromDirectLight) {
    Case made([](int x, int, int) { return 0.5f + 0.01f * static_cast<float>(x); }, 0.2f, flat);
    const std::vector<float> shadows =
        image_of(3, [](int x, int y, int) { return (x * 37 + y * 101) % 5 < 2 ? 1.0f : 0.0f; });
    DenoiseInput input = made.input();
    input.direct = both(shadows, 3);
    const std::vector<float> same = shadows;
    input.direct.half[1] = same;
    const DenoiseOutput output = Denoise(input);
    for (std::size_t i = 0; i < shadows.size(); ++i)
        made.truth[i] += shadows[i];
    const double error = mean_square(output.picture, made.truth);
    EXPECT_LT(error, 0.02 / 20.0); // filtered as one picture 0.004 is left
}

TEST(Denoise, KnowsHowFarItIsFromTheTruth) {
    const Value waves = [](int x, int y, int c) {
        return 1.0f + 0.5f * std::sin(0.11f * static_cast<float>(x + c * y));
    };
    const Case made(waves, 0.2f, flat);
    const DenoiseOutput output = Denoise(made.input());
    double expected = 0.0;
    for (const float error : output.error)
        expected += std::pow(static_cast<double>(error), 2.0) / static_cast<double>(kWide * kHigh);
    const double error = mean_square(output.picture, made.truth);
    EXPECT_LT(error, 0.02 / 5.0);
    EXPECT_GT(expected, error / 1.3); // rather too much than too little
    EXPECT_LT(expected, error * 3.0);
}

// Detail that no feature shows, far above the noise.
TEST(Denoise, LeavesWhatIsClean) {
    const Value detail = [](int x, int y, int c) {
        return static_cast<float>((x * 37 + y * 101 + c * 17 + x * y * 13) % 64) / 64.0f;
    };
    const Case made(detail, 1e-3f, flat);
    const double before = mean_square(mean_of_halves(made), made.truth);
    EXPECT_LT(mean_square(Denoise(made.input()).picture, made.truth), 1.05 * before);
}

TEST(Denoise, IsTheSameOnAllKernelsAndThreads) {
    const Value stripes = [](int x, int y, int) { return (x + y) % 11 < 5 ? 0.3f : 0.9f; };
    const Case made(stripes, 0.3f, stripes);
    const std::vector<float> picture = Denoise(made.input()).picture;
    const int threads = omp_get_max_threads();
    omp_set_num_threads(threads > 1 ? 1 : 3);
    UseVectorDenoiser(false);
    EXPECT_EQ(Denoise(made.input()).picture, picture);
    UseVectorDenoiser(true);
    omp_set_num_threads(threads);
}

// Pixels without a frame, as outside of a region, are neither read nor changed.
TEST(Denoise, TakesPicturesOfOnePixelBlackOnesAndRegions) {
    const float black[] = {0.0f, 0.0f, 0.0f};
    DenoiseInput pixel;
    pixel.width = pixel.height = 1;
    pixel.picture = {3, {black, black}};
    const DenoiseOutput one = Denoise(pixel);
    EXPECT_EQ(one.picture, std::vector<float>(3, 0.0f));
    EXPECT_EQ(one.error, std::vector<float>(1, 0.0f));
    Case made(flat, 0.1f, flat);
    std::vector<float> frames(made.depth.size(), 1.0f);
    for (std::size_t i = 0; i < frames.size(); i += 2) {
        frames[i] = 0.0f;
        for (std::size_t c = 0; c < 3; ++c)
            made.half[0][3 * i + c] = made.half[1][3 * i + c] = 1e6f;
    }
    DenoiseInput input = made.input();
    input.frames = frames;
    const std::vector<float> picture = Denoise(input).picture;
    for (std::size_t i = 0; i < picture.size(); ++i)
        ASSERT_NEAR(picture[i], i / 3 % 2 == 0 ? 1e6f : 0.5f, 0.3f) << "value " << i;
}

} // namespace
} // namespace mh
