// The steps from a noisy picture to a clean one.
// SPDX-License-Identifier: MIT
#include "denoise/denoise.h"

#include "denoise/guides.h"
#include "denoise/mixing.h"
#include "denoise/state.h"
#include "denoise/tiles.h"

#include <algorithm>

namespace mh {

namespace {

using Colours = std::array<FloatPlane, kColours>;

Colours planes_of(const PlaneShape& shape, std::span<const float> pixels) {
    Colours planes;
    for (std::size_t c = 0; c < kColours; ++c)
        planes[c] = MakePlane(shape, [&](std::size_t i) { return pixels[kColours * i + c]; });
    return planes;
}

std::vector<float> mean_of(const NoisyImage& picture) {
    std::vector<float> mean(picture.half[0].size());
    for (std::size_t i = 0; i < mean.size(); ++i)
        mean[i] = 0.5f * (picture.half[0][i] + picture.half[1][i]);
    return mean;
}

// Of each pixel, what the windows around it predict of the target; weights by likeness in the guide,
// whose variance is `noise`. A pixel that no window knows keeps its value.
std::vector<float> regress(const Guides& guides, const FloatPlane& noise, const Colours& guide,
                           const Colours& target) {
    const PlaneShape& shape = guides.shape;
    Colours sums;
    FloatPlane weight = EmptyPlane(shape);
    RegressionJob job = {};
    job.shape = shape;
    job.guide_variance = noise.data();
    job.inside = guides.inside.data();
    job.weight = weight.data();
    for (std::size_t i = 0; i < kFeatures; ++i) {
        job.feature[i] = guides.feature[i].data();
        job.feature_variance[i] = guides.left_variance[i].data();
    }
    for (std::size_t c = 0; c < kColours; ++c) {
        sums[c] = EmptyPlane(shape);
        job.guide[c] = guide[c].data();
        job.target[c] = target[c].data();
        job.sum[c] = sums[c].data();
    }
    for_tiles(shape, [&](int x, int y) { DenoiseKernelInUse().regress(job, x, y); });
    constexpr float kLeastWeight = 1e-3f; // of all windows together
    std::vector<float> result;
    for (int y = 0; y < shape.height; ++y)
        for (int x = 0; x < shape.width; ++x)
            for (std::size_t c = 0, p = shape.place(x, y); c < kColours; ++c)
                result.push_back(weight[p] > kLeastWeight ? sums[c][p] / weight[p] : target[c][p]);
    return result;
}

// Keeps each channel within the range of the picture's 5 x 5 pixels: a regression may run beyond it
// where a few bright pixels lie at the end of a window.
void keep_in_range(const PlaneShape& shape, const Colours& picture, std::vector<float>& pixels) {
    constexpr int kNear = 2;
#pragma omp parallel for num_threads(team_size()) default(none) shared(shape, picture, pixels)
    for (int y = 0; y < shape.height; ++y)
        for (int x = 0; x < shape.width; ++x)
            for (std::size_t c = 0; c < kColours; ++c) {
                float least = picture[c][shape.place(x, y)], most = least;
                for (int dy = -kNear; dy <= kNear; ++dy)
                    for (int dx = -kNear; dx <= kNear; ++dx) {
                        const float value = picture[c][shape.place(x + dx, y + dy)];
                        least = std::min(least, value);
                        most = std::max(most, value);
                    }
                float& value = pixels[kColours * static_cast<std::size_t>(y * shape.width + x) + c];
                value = std::clamp(value, least, most);
            }
}

FloatPlane scaled(FloatPlane plane, float factor) {
    for (float& value : plane)
        value *= factor;
    return plane;
}

// Each half by the weights of the other, so that the noise of a pixel does not choose its own company.
Filtered filter_picture(const DenoiseInput& input, const Guides& guides, const Colours& mean) {
    Filtered filtered;
    if (!HasHalves(input.picture)) {
        filtered.half[0] = regress(guides, guides.noise, mean, mean);
        keep_in_range(guides.shape, mean, filtered.half[0]);
        filtered.half[1] = filtered.half[0];
        return filtered;
    }
    const FloatPlane noise = scaled(guides.noise, 2.0f);
    const Colours first = planes_of(guides.shape, input.picture.half[0]);
    const Colours second = planes_of(guides.shape, input.picture.half[1]);
    filtered.half[0] = regress(guides, noise, second, first);
    filtered.half[1] = regress(guides, noise, first, second);
    for (std::vector<float>& half : filtered.half)
        keep_in_range(guides.shape, mean, half);
    return filtered;
}

// What the share of the filtered values makes of the given ones, which become the result.
void mix(const std::vector<float>& share, std::span<const float> filtered,
         std::vector<float>& values) {
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] += share[i / kColours] * (filtered[i] - values[i]);
}

std::vector<float> pixels_of_noise(const Guides& guides) {
    std::vector<float> noise;
    for (int y = 0; y < guides.shape.height; ++y)
        for (int x = 0; x < guides.shape.width; ++x)
            noise.push_back(guides.noise[guides.shape.place(x, y)]);
    return noise;
}

} // namespace

const DenoiseKernel& DenoiseKernelInUse() {
    return UsesVectors && __builtin_cpu_supports("avx2") ? kAvx2Denoise : kScalarDenoise;
}

void UseVectorDenoiser(bool vector) {
    UsesVectors = vector;
}

DenoiseOutput Denoise(const DenoiseInput& input) {
    const Guides guides = MakeGuides(input);
    DenoiseOutput output;
    output.picture = mean_of(input.picture);
    const Colours mean = planes_of(guides.shape, output.picture);
    const Filtered filtered = filter_picture(input, guides, mean);
    Mixture mixture = MixtureOf(input, pixels_of_noise(guides), filtered);
    mix(mixture.share, mean_of({3, {filtered.half[0], filtered.half[1]}}), output.picture);
    output.error = std::move(mixture.error);
    for (const std::span<const float>& part : input.parts) {
        const Colours planes = planes_of(guides.shape, part);
        std::vector<float> smooth = regress(guides, guides.noise, mean, planes);
        keep_in_range(guides.shape, planes, smooth);
        output.parts.emplace_back(part.begin(), part.end());
        mix(mixture.share, smooth, output.parts.back());
    }
    return output;
}

} // namespace mh
