// Features and noise from what a render or files give.
// SPDX-License-Identifier: MIT
#include "denoise/guides.h"

#include "denoise/tiles.h"
#include "math/at.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace mh {

namespace {

std::size_t pixels_of(const DenoiseInput& input) {
    return grid_size(input.width, input.height);
}

// Of the mean of both halves.
float half_variance(const NoisyImage& image, std::size_t i) {
    const float d = image.half[0][i] - image.half[1][i];
    return 0.25f * d * d;
}

float mean_of_halves(const NoisyImage& image, std::size_t i) {
    return 0.5f * (image.half[0][i] + image.half[1][i]);
}

// What makes the standard deviation over the picture 1; 1 where there is none.
float scale_of(const NoisyImage& image, std::size_t channel) {
    const auto channels = to_size(image.channels);
    double sum = 0.0, squares = 0.0;
    for (std::size_t i = channel; i < image.half[0].size(); i += channels) {
        const double value = mean_of_halves(image, i);
        sum += value;
        squares += value * value;
    }
    const double count = static_cast<double>(image.half[0].size()) / image.channels;
    const double variance = squares / count - sum / count * (sum / count);
    constexpr double kFlat = 1e-12; // relative: rounding of a constant
    return variance > kFlat * (1.0 + squares / count)
               ? static_cast<float>(1.0 / std::sqrt(variance))
               : 1.0f;
}

struct RawFeatures {
    std::array<FloatPlane, kFeatures> value, variance;
};

void add_feature(const NoisyImage& image, const PlaneShape& shape, std::size_t first,
                 RawFeatures& raw) {
    const auto channels = to_size(image.channels);
    for (std::size_t c = 0; c < channels; ++c) {
        const float scale = scale_of(image, c);
        std::vector<float> variance(image.half[0].size() / channels);
        for (std::size_t i = 0; i < variance.size(); ++i)
            variance[i] = scale * scale * half_variance(image, i * channels + c);
        variance = BoxMean(variance, shape.width, shape.height, 1);
        raw.variance[first + c] = MakePlane(shape, [&](std::size_t i) { return variance[i]; });
        raw.value[first + c] = MakePlane(
            shape, [&](std::size_t i) { return scale * mean_of_halves(image, i * channels + c); });
    }
}

// Smooths the features, and with them the noise.
void prefilter(const RawFeatures& raw, const std::vector<FloatPlane>& noise, Guides& guides) {
    PrefilterJob job = {};
    job.shape = guides.shape;
    job.inside = guides.inside.data();
    job.lights = static_cast<int>(noise.size());
    for (std::size_t i = 0; i < noise.size(); ++i) {
        guides.noise[i] = EmptyPlane(guides.shape);
        job.noise[i] = noise[i].data();
        job.smoothed_noise[i] = guides.noise[i].data();
    }
    for (std::size_t i = 0; i < kFeatures; ++i) {
        job.feature[i] = raw.value[i].data();
        job.variance[i] = raw.variance[i].data();
        job.smoothed[i] = guides.feature[i].data();
        job.left_variance[i] = guides.left_variance[i].data();
    }
    for_tiles(guides.shape, [&](int x, int y) { DenoiseKernelInUse().prefilter(job, x, y); });
    for (std::size_t i = 0; i < kFeatures; ++i) {
        RepeatEdges(guides.shape, guides.feature[i]);
        RepeatEdges(guides.shape, guides.left_variance[i]);
    }
    for (std::size_t i = 0; i < noise.size(); ++i)
        RepeatEdges(guides.shape, guides.noise[i]);
}

// Second differences that plane patches of a picture do not have [Immerkaer96].
std::vector<float> roughness(const DenoiseInput& input) {
    constexpr float kMask[3] = {1.0f, -2.0f, 1.0f}; // by its transpose
    constexpr float kGain = 36.0f;                  // sum of the squares of the mask
    std::vector<float> result(pixels_of(input));
    const auto value = [&](int x, int y, int c) {
        const int column = std::clamp(x, 0, input.width - 1),
                  row = std::clamp(y, 0, input.height - 1);
        return input.picture.half[0][3 * grid_place(column, row, input.width) + to_size(c)];
    };
    for (int y = 0; y < input.height; ++y)
        for (int x = 0; x < input.width; ++x)
            for (int c = 0; c < kColours; ++c) {
                float sum = 0.0f;
                for (int i = 0; i < 9; ++i)
                    sum += kMask[i / 3] * kMask[i % 3] * value(x + i % 3 - 1, y + i / 3 - 1, c);
                at(result, y * input.width + x) += sum * sum / kGain;
            }
    return BoxMean(result, input.width, input.height, 2);
}

// The spread of a pixel's frames says where noise is, the halves how much of it their mean has
// left: by a ratio over a neighbourhood, since two halves alone say little of a single pixel
// [Rousselle12].
std::vector<float> noise_of_spread(const DenoiseInput& input, std::vector<float> halves) {
    constexpr int kShareReach = 12;
    constexpr float kLeastShare = 0.01f, kMostShare = 1.2f; // chance alone goes beyond 1
    constexpr float kDarkest = 0.03f; // squared brightness below which errors are absolute
    std::vector<float> noise(halves.size()), relative(halves.size());
    for (std::size_t i = 0; i < noise.size(); ++i) {
        float light = kDarkest;
        for (std::size_t at = kColours * i; at < kColours * (i + 1); ++at) {
            const float mean = mean_of_halves(input.picture, at);
            light += mean * mean;
            noise[i] += input.spread[at];
        }
        relative[i] = noise[i] / light;
        halves[i] /= light;
    }
    relative = BoxMean(relative, input.width, input.height, kShareReach);
    halves = BoxMean(halves, input.width, input.height, kShareReach);
    for (std::size_t i = 0; i < noise.size(); ++i)
        if (relative[i] > 0.0f)
            noise[i] *= std::clamp(halves[i] / relative[i], kLeastShare, kMostShare);
    return noise;
}

std::vector<float> raw_noise(const DenoiseInput& input) {
    if (!input.variance.empty()) return {input.variance.begin(), input.variance.end()};
    if (!HasHalves(input.picture)) return roughness(input);
    std::vector<float> noise(pixels_of(input));
    for (std::size_t i = 0; i < noise.size(); ++i)
        for (std::size_t c = 0; c < kColours; ++c)
            noise[i] += half_variance(input.picture, kColours * i + c);
    return input.spread.empty() ? noise : noise_of_spread(input, std::move(noise));
}

} // namespace

DenoiseInput PictureAlone(const DenoiseInput& input) {
    DenoiseInput picture = input;
    if (input.direct.channels == 0) return picture;
    picture.direct = {};
    picture.spread = {};
    picture.parts.clear();
    return picture;
}

DenoiseInput DirectAlone(const DenoiseInput& input) {
    DenoiseInput direct = input;
    direct.picture = std::exchange(direct.direct, {});
    return direct;
}

bool HasHalves(const NoisyImage& picture) {
    return picture.half[0].data() != picture.half[1].data();
}

// Noise is smoothed in two ways, of which the mean counts: among pixels of like features it keeps
// clear of edges, but a pixel that is like no other is left with its own estimate; that of the
// pixels beside it is the steadier one there.
Guides MakeGuides(const DenoiseInput& input) {
    Guides guides = {};
    guides.shape = ShapeOf(input.width, input.height);
    guides.inside = EmptyPlane(guides.shape);
    for (int y = 0; y < input.height; ++y)
        for (int x = 0; x < input.width; ++x) {
            const auto pixel = grid_place(x, y, input.width);
            const bool counts = input.frames.empty() || input.frames[pixel] > 0.0f;
            guides.inside[guides.shape.place(x, y)] = counts ? 1.0f : 0.0f;
        }
    RawFeatures raw;
    raw.value.fill(EmptyPlane(guides.shape));
    raw.variance = guides.feature = guides.left_variance = raw.value;
    add_feature(input.albedo, guides.shape, 0, raw);
    add_feature(input.normal, guides.shape, 3, raw);
    add_feature(input.depth, guides.shape, 6, raw);
    std::vector<std::vector<float>> noise = {raw_noise(PictureAlone(input))};
    if (input.direct.channels > 0) noise.push_back(raw_noise(DirectAlone(input)));
    std::vector<FloatPlane> planes;
    for (const std::vector<float>& light : noise)
        planes.push_back(MakePlane(guides.shape, [&](std::size_t i) { return light[i]; }));
    prefilter(raw, planes, guides);
    for (std::size_t light = 0; light < noise.size(); ++light) {
        const std::vector<float> near = BoxMean(noise[light], input.width, input.height, 1);
        const FloatPlane boxed = MakePlane(guides.shape, [&](std::size_t i) { return near[i]; });
        for (std::size_t i = 0; i < boxed.size(); ++i)
            guides.noise[light][i] = 0.5f * (guides.noise[light][i] + boxed[i]);
    }
    return guides;
}

} // namespace mh
