// Texel reads, addressing and filtered look-ups.
// SPDX-License-Identifier: MIT
#include "math/random.h"
#include "shading/images.h"
#include "support/expect.h"
#include "support/replay.h"

#include <algorithm>
#include <limits>
#include <tuple>

#include <gtest/gtest.h>

namespace mh::test {
namespace {

// Grey bytes 0, 1, 2 ... in texel order.
Image counting_image(int width, int height) {
    Image image;
    AllocateImage(image, width, height, 1, 8, false);
    for (std::size_t i = 0; i < image.bytes.size(); ++i)
        image.bytes[i] = static_cast<std::uint8_t>(i);
    return image;
}

ShaderElement element_with(PixelSampler sampler, Wrap wrap = Wrap::repeat) {
    ShaderElement element;
    element.pixel_sampler = sampler;
    element.wrap_u = element.wrap_v = wrap;
    return element;
}

float byte_value(const Image& image, const Vec2& uv, const ShaderElement& element) {
    return sample_texture(image, uv, element).x * 255.0f;
}

TEST(Texel, KeepsTheWidthOfItsImage) {
    Image image;
    for (const int bits : {1, 8, 16, 32, 64})
        for (const int channels : {1, 2, 3, 4}) {
            AllocateImage(image, 2, 2, channels, bits, false);
            set_texel(image, 3, splat(1.0f));
            const float read = channels == 2 ? 0.0f : 1.0f; // two channels are black
            EXPECT_NEAR(read_texel(image, 3).z, read, 1e-6f) << bits << " " << channels;
            EXPECT_EQ(read_texel(image, 2).z, 0.0f) << bits << " " << channels;
        }
    AllocateImage(image, 1, 1, 3, 16, false);
    image.words = {65535, 255, 0};
    expect_near(read_texel(image, 0), {257, 1, 0}, 1e-3f);
}

TEST(Address, WrapsAndClamps) {
    const Image image = counting_image(8, 4);
    constexpr int kLeast = std::numeric_limits<int>::min(), kMost = std::numeric_limits<int>::max();
    const std::tuple<int, int, Wrap, std::int64_t> cases[] = {
        {-2, 0, Wrap::repeat, 6},         {-8, -1, Wrap::repeat, 24},
        {17, 9, Wrap::repeat, 9},         {-5, 99, Wrap::clamp, 24},
        {kLeast, kMost, Wrap::clamp, 24}, {kLeast, kMost, Wrap::repeat, 24},
        {-1, 4, Wrap::mirror, 24},        {17, -5, Wrap::mirror, 25}};
    for (const auto& [x, y, mode, index] : cases)
        EXPECT_EQ(texel_index(image, x, y, mode, mode), index) << x << " " << y;
}

TEST(Lookup, NearestTakesTheTexelBelow) {
    const Image image = counting_image(8, 4);
    const std::tuple<Vec2, Wrap, float> cases[] = {{{0.99f / 8.0f, 0.0f}, Wrap::repeat, 0.0f},
                                                   {{1.0f, 0.25f}, Wrap::repeat, 8.0f},
                                                   {{-0.25f, 0.0f}, Wrap::repeat, 6.0f},
                                                   {{1.5f, 2.0f}, Wrap::clamp, 31.0f}};
    for (const auto& [uv, mode, value] : cases)
        EXPECT_NEAR(byte_value(image, uv, element_with(PixelSampler::nearest, mode)), value, 1e-4f);
}

// The four texels around (x, y), read one by one, mixed along x and then along y.
Vec3 bilinear(const Image& image, float x, float y, Wrap mode) {
    const float column = std::floor(x), row = std::floor(y), tx = x - column, ty = y - row;
    const auto along_x = [&](int r) {
        const auto texel = [&](int c) {
            return read_texel(image, texel_index(image, c, r, mode, mode));
        };
        return (1.0f - tx) * texel(static_cast<int>(column))
               + tx * texel(static_cast<int>(column) + 1);
    };
    return (1.0f - ty) * along_x(static_cast<int>(row)) + ty * along_x(static_cast<int>(row) + 1);
}

constexpr int kRgbe = 4; // bits of a test case whose texels share an exponent

TEST(Lookup, BilinearAgreesWithTheFourTexels) {
    const SeededDraws seed(11);
    for (int kind = 0; kind < 12; ++kind) {
        const int channels = kind % 3 == 0 ? 1 : kind % 3 + 2;
        const int bits = kind / 3 == 3 ? kRgbe : 8 << kind / 3;
        if (bits == kRgbe && channels != 3) continue;
        Image image;
        AllocateImage(image, 7, 5, channels, bits, bits == kRgbe);
        for (std::int64_t i = 0; i < 35; ++i)
            set_texel(image, i, {random_unit(), random_unit(), random_unit()});
        for (int n = 0; n < 200; ++n) {
            constexpr float kFirst[] = {-2.0f, -1e6f, 0.0f, 3.0f},
                            kRange[] = {4.0f, 2e6f, 1.0f, 1e-6f};
            const float first = kFirst[n % 4], range = kRange[n % 4];
            const float u = first + range * random_unit();
            const float v = n % 5 == 0 ? std::floor(u) : first + range * random_unit();
            const Wrap mode = n % 8 < 4 ? Wrap::repeat : Wrap::clamp;
            const Vec3 color =
                sample_texture(image, {u, v}, element_with(PixelSampler::bilinear, mode));
            EXPECT_TRUE(color == bilinear(image, u * 7.0f, v * 5.0f, mode)) << u << " " << v;
            ASSERT_FALSE(HasFailure()) << bits << " " << channels << " " << n;
        }
    }
}

TEST(Lookup, TakesTexelsAtTheirMiddlesAndTheCurveOfSrgb) {
    Image image;
    AllocateImage(image, 2, 1, 3, 8, false);
    set_texel(image, 1, splat(188.0f / 255.0f));
    ShaderElement element = element_with(PixelSampler::bilinear, Wrap::clamp);
    element.srgb = true;
    EXPECT_NEAR(sample_texture(image, {0.5f, 0.0f}, element).x, 0.5029f, 1e-4f);
    element.centered = true;
    EXPECT_NEAR(sample_texture(image, {0.5f, 0.0f}, element).x, 0.5f * 0.5029f, 1e-4f);
    EXPECT_NEAR(sample_texture(image, {0.75f, 0.0f}, element).x, 0.5029f, 1e-4f);
}

TEST(Lookup, StochasticPickHasTheBilinearMean) {
    const SeededDraws seed(5);
    const Image image = counting_image(8, 4);
    const Vec2 uv = {0.16f, 0.33f};
    constexpr int kDraws = 40000;
    double total = 0.0;
    for (int i = 0; i < kDraws; ++i)
        total += static_cast<double>(byte_value(image, uv, element_with(PixelSampler::stochastic)));
    // Deviation of one pick is below 4; four deviations of the mean.
    EXPECT_NEAR(total / kDraws, byte_value(image, uv, element_with(PixelSampler::bilinear)), 0.08);
}

TEST(Lookup, CorrectsTexelsBeforeItFilters) {
    Image image = counting_image(2, 1);
    image.bytes = {0, 128};
    ShaderElement element = element_with(PixelSampler::nearest);
    element.gamma = 2.2f;
    const float corrected = std::pow(128.0f / 255.0f, 2.2f);
    EXPECT_NEAR(sample_texture(image, {0.5f, 0.0f}, element).y, corrected, 1e-6f);
    element.pixel_sampler = PixelSampler::bilinear;
    EXPECT_NEAR(sample_texture(image, {0.25f, 0.0f}, element).y, 0.5f * corrected, 1e-6f);
}

TEST(Lookup, TransformsCoordinatesAndColors) {
    Image image;
    AllocateImage(image, 2, 1, 3, 32, false);
    set_texel(image, 1, {1.0f, 2.0f, 4.0f});
    ShaderElement element = element_with(PixelSampler::nearest);
    element.uv_matrix.m[0][2] = 0.75f;
    element.uv_matrix.m[2][2] = 2.0f;
    element.color_matrix.m[0][3] = 1.0f;
    element.color_matrix.m[3][1] = 0.5f;
    element.color_matrix.m[3][2] = 1.0f;                              // weighs green as well
    EXPECT_EQ(sample_texture(image, {0.25f, 0.0f}, element), Vec3{}); // the flags are still set
    element.uv_matrix_identity = false;
    EXPECT_EQ(sample_texture(image, {0.25f, 0.0f}, element), (Vec3{1, 2, 4})); // (0.25 + 0.75) / 2
    element.color_matrix_identity = false;
    expect_near(sample_texture(image, {0.25f, 0.0f}, element), Vec3{2, 2, 4} / 4.0f);
}

TEST(Lookup, IsBlackWithoutPixelsOrPlace) {
    const Image image = counting_image(8, 4);
    for (const PixelSampler sampler :
         {PixelSampler::nearest, PixelSampler::stochastic, PixelSampler::bilinear}) {
        const ShaderElement element = element_with(sampler);
        EXPECT_TRUE(sample_texture(Image{}, {0.5f, 0.5f}, element) == Vec3{});
        EXPECT_TRUE(sample_texture(image, {kNan, 0.5f}, element) == Vec3{});
        EXPECT_TRUE(sample_texture(image, {0.5f, -kInfinity}, element) == Vec3{});
        for (const float u : {1e30f, -1e30f, 1e9f, -3e8f})
            EXPECT_TRUE(is_finite(sample_texture(image, {u, u}, element))) << u;
    }
}

TEST(Statistics, TakeTheLargestChannelForTheVariance) {
    Image image;
    AllocateImage(image, 2, 1, 3, 32, false);
    image.floats = {1.0f, 0.0f, 0.0f, 3.0f, 0.0f, 2.0f};
    Vec3 mean, variance;
    image_statistics(image, mean, variance);
    EXPECT_TRUE(mean == (Vec3{2.0f, 0.0f, 1.0f}));
    EXPECT_TRUE(variance == (Vec3{1.0f, 5.0f, 4.0f})); // (1 + 9) / 2 - mean^2
    image_statistics(Image{}, mean, variance);
    EXPECT_TRUE(mean == Vec3{} && variance == Vec3{});
}

} // namespace
} // namespace mh::test
