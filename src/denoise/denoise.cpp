// The steps from a noisy picture to a clean one.
// SPDX-License-Identifier: MIT
#include "denoise/denoise.h"

#include "denoise/guides.h"
#include "denoise/mixing.h"
#include "denoise/open_image_denoise.h"
#include "denoise/state.h"
#include "denoise/tiles.h"
#include "math/at.h"

#include <algorithm>
#include <cmath>

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

// Windows of RegressionJob.
struct Pass {
    int reach;
    float tolerance; // RegressionJob::likeness
};

// How like a window's pixels are to its centre, by a picture and its variance.
struct Likeness {
    const Colours& guide;
    const FloatPlane& noise;
    Pass pass;
};

// Windows of the second pass are smaller, since what they compare is nearly clean.
struct Passes {
    Pass first, second;
};

// Found by measurement: see docs/performance.md.
constexpr Pass kAlone = {kReach, 0.4f}; // where there are no halves
constexpr Passes kOfPicture = {{kReach, 0.8f}, {5, 0.4f}};
constexpr Passes kOfDirect = {{6, 1.2f}, {5, 0.4f}}, kOfBounced = {{kReach, 1.2f}, {5, 0.8f}};

// Of each pixel, what the windows around it predict of the target. A pixel that no window knows
// keeps its value.
std::vector<float> regress(const Guides& guides, const Likeness& likeness, const Colours& target) {
    const PlaneShape& shape = guides.shape;
    Colours sums;
    FloatPlane weight = EmptyPlane(shape);
    RegressionJob job = {};
    job.shape = shape;
    job.guide_variance = likeness.noise.data();
    job.reach = likeness.pass.reach;
    job.likeness = likeness.pass.tolerance;
    job.inside = guides.inside.data();
    job.weight = weight.data();
    for (std::size_t i = 0; i < kFeatures; ++i) {
        job.feature[i] = guides.feature[i].data();
        job.feature_variance[i] = guides.left_variance[i].data();
    }
    for (std::size_t c = 0; c < kColours; ++c) {
        sums[c] = EmptyPlane(shape);
        job.guide[c] = likeness.guide[c].data();
        job.target[c] = target[c].data();
        job.sum[c] = sums[c].data();
    }
    for_tiles(shape, [&](int x, int y) { DenoiseKernelInUse().regress(job, x, y); });
    constexpr float kLeastWeight = 1e-3f; // of all windows together
    std::vector<float> result(kColours * grid_size(shape.width, shape.height));
#pragma omp parallel for num_threads(team_size()) default(none)                                    \
    shared(shape, weight, sums, target, result)
    for (int y = 0; y < shape.height; ++y)
        for (int x = 0; x < shape.width; ++x)
            for (std::size_t c = 0, p = shape.place(x, y); c < kColours; ++c)
                result[kColours * grid_place(x, y, shape.width) + c] =
                    weight[p] > kLeastWeight ? sums[c][p] / weight[p] : target[c][p];
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
                float& value = pixels[kColours * grid_place(x, y, shape.width) + c];
                value = std::clamp(value, least, most);
            }
}

FloatPlane scaled(FloatPlane plane, float factor) {
    for (float& value : plane)
        value *= factor;
    return plane;
}

// How far the picture and its filtered self may be off where two pixels are compared by the latter:
// a multiple of the spread of its halves, and a share of the picture's noise for what both have
// lost.
FloatPlane noise_of_filtered(const Guides& guides, const FloatPlane& noise,
                             const Filtered& filtered) {
    constexpr float kSpread = 2.0f, kLost = 0.05f;
    std::vector<float> spread(filtered.half[0].size() / kColours);
    for (std::size_t i = 0; i < filtered.half[0].size(); ++i) {
        const float d = filtered.half[0][i] - filtered.half[1][i];
        spread[i / kColours] += 0.25f * d * d;
    }
    spread = BoxMean(spread, guides.shape.width, guides.shape.height, 1);
    FloatPlane left = MakePlane(guides.shape, [&](std::size_t i) { return kSpread * spread[i]; });
    for (std::size_t i = 0; i < left.size(); ++i)
        left[i] += kLost * noise[i];
    return left;
}

// The filtered picture, and what makes the same of its parts, if there are any.
struct FilteredPicture {
    Filtered filtered;
    Passes passes = {kAlone, kAlone};
    Colours second_guide; // of the whole picture
    FloatPlane second_noise;
    std::vector<float> share_of_second; // in the filtered picture; empty where there was one pass
};

// What the share of the filtered values makes of the given ones, which become the result.
void mix(const std::vector<float>& share, std::span<const float> filtered,
         std::vector<float>& values) {
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] += share[i / kColours] * (filtered[i] - values[i]);
}

// Each half by the likeness that the other shows, so that the noise of a pixel does not choose its
// own company. noise: of the guide's mean.
Filtered filter_crosswise(const DenoiseInput& input, const Guides& guides, const Colours& mean,
                          const std::array<std::span<const float>, 2>& guide, FloatPlane noise,
                          const Pass& pass) {
    noise = scaled(std::move(noise), 2.0f);
    Filtered filtered;
    for (const std::size_t i : {std::size_t{0}, std::size_t{1}}) {
        const Colours other = planes_of(guides.shape, guide[1 - i]);
        const Colours half = planes_of(guides.shape, input.picture.half[i]);
        filtered.half[i] = regress(guides, {other, noise, pass}, half);
        keep_in_range(guides.shape, mean, filtered.half[i]);
    }
    return filtered;
}

// A first pass compares pixels of the noisy halves, a second one those that the first has filtered:
// edges of shadows stand out there, which the noise had hidden. Where that is no gain, as where
// light varies slowly, the first is kept.
FilteredPicture filter_picture(const DenoiseInput& input, const Guides& guides,
                               const FloatPlane& noise, const Colours& mean, const Passes& passes) {
    FilteredPicture result;
    Filtered& first = result.filtered;
    if (!HasHalves(input.picture)) {
        first.half[0] = regress(guides, {mean, noise, kAlone}, mean);
        keep_in_range(guides.shape, mean, first.half[0]);
        first.half[1] = first.half[0];
        return result;
    }
    result.passes = passes;
    first = filter_crosswise(input, guides, mean, input.picture.half, noise, passes.first);
    result.second_noise = noise_of_filtered(guides, noise, first);
    if (!input.parts.empty())
        result.second_guide =
            planes_of(guides.shape, mean_of({kColours, {first.half[0], first.half[1]}}));
    const Filtered second = filter_crosswise(input, guides, mean, {first.half[0], first.half[1]},
                                             result.second_noise, passes.second);
    result.share_of_second = ShareOfSecond(input, first, second);
    for (const int i : {0, 1})
        mix(result.share_of_second, second.half[i], first.half[i]);
    return result;
}

// Light of one lamp, by the windows of the picture.
std::vector<float> filter_part(const Guides& guides, const FloatPlane& noise,
                               const FilteredPicture& picture, const Colours& mean,
                               std::span<const float> part) {
    const Colours planes = planes_of(guides.shape, part);
    std::vector<float> smooth = regress(guides, {mean, noise, picture.passes.first}, planes);
    if (!picture.share_of_second.empty())
        mix(picture.share_of_second,
            regress(guides, {picture.second_guide, picture.second_noise, picture.passes.second},
                    planes),
            smooth);
    keep_in_range(guides.shape, planes, smooth);
    return smooth;
}

std::vector<float> pixels_of(const PlaneShape& shape, const FloatPlane& plane) {
    std::vector<float> pixels;
    for (int y = 0; y < shape.height; ++y)
        for (int x = 0; x < shape.width; ++x)
            pixels.push_back(plane[shape.place(x, y)]);
    return pixels;
}

// The picture alone, without direct light.
DenoiseOutput denoise_picture(const DenoiseInput& input, const Guides& guides,
                              const FloatPlane& noise, const Passes& passes) {
    DenoiseOutput output;
    output.picture = mean_of(input.picture);
    const Colours mean = planes_of(guides.shape, output.picture);
    const FilteredPicture picture = filter_picture(input, guides, noise, mean, passes);
    const Filtered& filtered = picture.filtered;
    Mixture mixture = MixtureOf(input, pixels_of(guides.shape, noise), filtered);
    mix(mixture.share, mean_of({3, {filtered.half[0], filtered.half[1]}}), output.picture);
    output.error = std::move(mixture.error);
    for (const std::span<const float>& part : input.parts) {
        output.parts.emplace_back(part.begin(), part.end());
        mix(mixture.share, filter_part(guides, noise, picture, mean, part), output.parts.back());
    }
    return output;
}

// Adds light whose noise is another's.
void add_light(const DenoiseOutput& light, DenoiseOutput& output) {
    for (std::size_t i = 0; i < output.picture.size(); ++i)
        output.picture[i] += light.picture[i];
    for (std::size_t i = 0; i < output.error.size(); ++i)
        output.error[i] = std::hypot(output.error[i], light.error[i]);
}

DenoiseOutput denoise_by_windows(const DenoiseInput& input) {
    const Guides guides = MakeGuides(input);
    if (input.direct.channels == 0)
        return denoise_picture(input, guides, guides.noise[0], kOfPicture);
    DenoiseOutput output = denoise_picture(DirectAlone(input), guides, guides.noise[1], kOfDirect);
    add_light(denoise_picture(PictureAlone(input), guides, guides.noise[0], kOfBounced), output);
    return output;
}

// Each half by itself. Of direct light and bounces together.
DenoiseOutput denoise_by_network(const DenoiseInput& input) {
    DenoiseInput whole = PictureAlone(input);
    std::array<std::vector<float>, 2> sums;
    if (input.direct.channels > 0)
        for (const std::size_t half : {std::size_t{0}, std::size_t{1}}) {
            sums[half].assign(input.picture.half[half].begin(), input.picture.half[half].end());
            for (std::size_t i = 0; i < sums[half].size(); ++i)
                sums[half][i] += input.direct.half[half][i];
            whole.picture.half[half] = sums[half];
        }
    DenoiseOutput output;
    Filtered filtered;
    for (const std::size_t half : {std::size_t{0}, std::size_t{1}}) {
        output.fault = FilterByNetwork(whole, half, filtered.half[half]);
        if (!output.fault.empty()) return output;
    }
    const Guides guides = MakeGuides(whole);
    Mixture mixture = MixtureOf(whole, pixels_of(guides.shape, guides.noise[0]), filtered);
    output.picture = mean_of(whole.picture);
    mix(mixture.share, mean_of({kColours, {filtered.half[0], filtered.half[1]}}), output.picture);
    output.error = std::move(mixture.error);
    if (!input.parts.empty()) output.parts = denoise_by_windows(input).parts;
    return output;
}

} // namespace

const DenoiseKernel& DenoiseKernelInUse() {
    return UsesVectors && __builtin_cpu_supports("avx2") ? kAvx2Denoise : kScalarDenoise;
}

void UseVectorDenoiser(bool vector) {
    UsesVectors = vector;
}

void UseOpenImageDenoise(bool network) {
    UsesNetwork = network;
}

DenoiseOutput Denoise(const DenoiseInput& input) {
    if (!UsesNetwork) return denoise_by_windows(input);
    DenoiseOutput output = denoise_by_network(input);
    if (output.fault.empty()) return output;
    DenoiseOutput own = denoise_by_windows(input);
    own.fault = std::move(output.fault);
    return own;
}

} // namespace mh
