// Errors of pixels and blocks. Frames that share a sequence differ more from each other than their
// mean does from its limit: the spread of single frames tells where noise is, the two halves how
// much of it is left [Rousselle12] sec. 5.
// SPDX-License-Identifier: MIT
#include "integrate/noise.h"

#include "integrate/frame_order.h"
#include "integrate/state.h"
#include "integrate/whole_frames.h"
#include "math/at.h"
#include "math/threads.h"
#include "output/aov.h"
#include "output/camera.h"
#include "output/feature_planes.h"
#include "output/state.h"
#include "run/state.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>

namespace mh {

namespace {

constexpr float kDarkest = 0.01f;     // added to brightness, of the picture's mean
constexpr float kSquaredKnee = 0.01f; // brightness below 0.1 is seen as it is
constexpr double kPercentile = 0.95;
constexpr std::uint32_t kFewestFrames = 8; // that an estimate is believed after

// The sums that noise is estimated from.
struct Sums {
    const Image &frames, &even, &odd, &squares;
    const Image* rays = nullptr; // where they are counted
};

Sums sums_of_planes() {
    return {PlaneSums.sums[0].image, plane_sum(Quantity::beauty, Half::even).image,
            plane_sum(Quantity::beauty, Half::odd).image,
            plane_sum(Quantity::beauty, Half::squares).image,
            counts_rays() ? &PlaneSums.sums.back().image : nullptr};
}

float mean_of(const Vec3& value) {
    return (value.x + value.y + value.z) / 3.0f;
}

float mean_light(const Sums& sums, std::int64_t pixel) {
    const float n = std::max(at(sums.frames.floats, pixel), 1.0f);
    return mean_of((read_pixel(sums.even, pixel) + read_pixel(sums.odd, pixel)) / n);
}

// Of the mean, from the spread of the frames as if they were independent.
Vec3 spread_variance(const Sums& sums, std::int64_t pixel, float n) {
    const Vec3 sum = read_pixel(sums.even, pixel) + read_pixel(sums.odd, pixel);
    const Vec3 squares = read_pixel(sums.squares, pixel);
    return {variance_of_mean(sum.x, squares.x, n), variance_of_mean(sum.y, squares.y, n),
            variance_of_mean(sum.z, squares.z, n)};
}

// The same from the difference of the halves: (A - B)^2 a b / n^2, of a and b frames.
Vec3 halves_variance(const Sums& sums, std::int64_t pixel, float n) {
    const float odd = std::floor(0.5f * n), even = n - odd;
    const Vec3 difference = read_pixel(sums.even, pixel) / even - read_pixel(sums.odd, pixel) / odd;
    return difference * difference * (even * odd / (n * n));
}

// What a block adds to the sums of its neighbourhood.
struct BlockSums {
    BlockNoise noise;
    // Variances over the brightness of pixel and block: by a pixel's own alone, one in the dark
    // beside an edge would speak for the edge, whose noise falls faster; by the block's alone the
    // edge would speak for the dark.
    double spread = 0.0, halves = 0.0;
};

BlockGrid grid_over(int width, int height) {
    return {(width + kBlockSize - 1) / kBlockSize, (height + kBlockSize - 1) / kBlockSize};
}

std::size_t blocks_of(const BlockGrid& grid) {
    return grid_size(grid.columns, grid.rows);
}

template<typename Act>
void for_each_pixel(const Image& image, const BlockGrid& grid, int block, const Act& act) {
    const int x0 = block % grid.columns * kBlockSize, y0 = block / grid.columns * kBlockSize;
    for (int y = y0; y < std::min(y0 + kBlockSize, image.height); ++y)
        for (int x = x0; x < std::min(x0 + kBlockSize, image.width); ++x)
            act(std::int64_t{image.width} * y + x);
}

// A checkerboard of squares of 2 x 2 pixels.
std::size_t part_of(const Image& image, std::int64_t pixel) {
    const std::int64_t x = pixel % image.width, y = pixel / image.width;
    return to_size((x / 2 + y / 2) % 2);
}

BlockSums sums_of_block(const Sums& sums, const BlockGrid& grid, int block, float dark) {
    BlockSums result;
    BlockNoise& noise = result.noise;
    float rays = 0.0f;
    std::array<float, 2> seen_by = {};
    for_each_pixel(sums.frames, grid, block, [&](std::int64_t pixel) {
        const float n = at(sums.frames.floats, pixel);
        if (!(n > 0.0f)) return;
        const float light = mean_light(sums, pixel), scale = 1.0f / (std::fabs(light) + dark);
        const Vec3 spread = spread_variance(sums, pixel, n);
        noise.pixels += 1.0f;
        noise.frames = n;
        if (sums.rays != nullptr) rays += at(sums.rays->floats, pixel) / n;
        noise.light += light;
        noise.variance += mean_of(spread);
        const std::size_t part = part_of(sums.frames, pixel);
        noise.seen[part] += mean_of(spread) / (light * light / kSquaredKnee + 1.0f);
        seen_by[part] += 1.0f;
        if (n < 2.0f) return;
        result.spread += static_cast<double>(mean_of(spread) * scale);
        result.halves += static_cast<double>(mean_of(halves_variance(sums, pixel, n)) * scale);
    });
    if (noise.pixels > 0.0f) {
        noise.light /= noise.pixels;
        noise.variance /= noise.pixels;
        const auto brightness = static_cast<double>(std::fabs(noise.light) + dark);
        result.spread /= brightness;
        result.halves /= brightness;
        for (const std::size_t part : {0u, 1u})
            noise.seen[part] /= std::max(seen_by[part], 1.0f);
        if (seen_by[0] * seen_by[1] == 0.0f) // too narrow: one part stands for both
            noise.seen.fill(noise.seen[0] + noise.seen[1]);
        if (rays > 0.0f) noise.rays = rays / noise.pixels;
    }
    return result;
}

// How the frames of a pixel were taken: whole sets of points, or an unknown part of one.
struct Frames {
    float count = 0.0f;
    bool whole = false;   // the halves complement each other
    bool growing = false; // they took a half of each of several stretches
};

// Variance of one half over that of a whole set of as many frames, where errors fall by n^-b.
double half_over_whole(const Frames& frames, double b) {
    if (!frames.growing) return 1.0;
    const auto n = static_cast<std::uint32_t>(frames.count);
    const auto half_of = [&](std::uint32_t length) {
        return std::pow(0.5 * static_cast<double>(length), 2.0 - b);
    };
    double sum = half_of(std::min(kFirstSet, n));
    for (std::uint32_t begin = kFirstSet; begin < n; begin *= 2)
        sum += half_of(std::min(begin, n - begin));
    return sum / half_of(n);
}

// Variance of n frames over that of n independent ones, from the same ratio of the halves'
// estimate. Of a whole set whose halves are h times as uneven as whole sets of their size they show
// (h 2^b - 1) times of the variance, where errors fall by n^-b; so b follows. Halves that differ
// more than independent ones complement each other, and their mean is the better for it. Those of a
// part of a set are independent.
float share_of(double ratio, const Frames& frames) {
    constexpr double kSteepest = 3.0;            // of smooth functions [Owen97]
    constexpr double kLeast = 0.01, kMost = 1.2; // chance alone goes beyond 1
    if (!frames.whole) return static_cast<float>(std::clamp(ratio, kLeast, kMost));
    if (ratio > 1.0) return static_cast<float>(1.0 / ratio);
    const auto n = static_cast<double>(frames.count);
    double low = 1.0, high = kSteepest;
    for (int i = 0; i < 16; ++i) {
        const double b = 0.5 * (low + high);
        const double shown = half_over_whole(frames, b) * std::exp2(b) - 1.0;
        (std::pow(n, 1.0 - b) * shown > ratio ? low : high) = b;
    }
    return static_cast<float>(std::pow(n, 1.0 - low));
}

Frames frames_of(float n, std::uint32_t round) {
    const bool ended = static_cast<std::uint32_t>(n) % round == 0;
    if (RendererSettings.adaptive) return {n, true, true};
    return {std::min(n, static_cast<float>(round)), ended, false};
}

// Of the block and those around it: one block alone has too few pixels.
float share_around(const std::vector<BlockSums>& sums, const BlockGrid& grid, int block,
                   std::uint32_t round) {
    const int column = block % grid.columns, row = block / grid.columns;
    double spread = 0.0, halves = 0.0;
    for (int y = std::max(row - 1, 0); y <= std::min(row + 1, grid.rows - 1); ++y)
        for (int x = std::max(column - 1, 0); x <= std::min(column + 1, grid.columns - 1); ++x) {
            const BlockSums& other = at(sums, y * grid.columns + x);
            spread += other.spread;
            halves += other.halves;
        }
    const float n = at(sums, block).noise.frames;
    return spread > 0.0 && n >= 2.0f ? share_of(halves / spread, frames_of(n, round)) : 1.0f;
}

double percentile_of(std::vector<float> errors) {
    if (errors.empty()) return 0.0;
    const auto place =
        static_cast<std::ptrdiff_t>(kPercentile * static_cast<double>(errors.size() - 1));
    std::nth_element(errors.begin(), errors.begin() + place, errors.end());
    return static_cast<double>(at(errors, place));
}

// What brightness is raised by, from its sum over pixels.
double darkness_of(double sum, double pixels) {
    constexpr double kLeast = 1e-20; // of a black picture
    return std::max(sum / std::max(pixels, 1.0) * static_cast<double>(kDarkest), kLeast);
}

float darkness(const Sums& sums) {
    double sum = 0.0, count = 0.0;
    for (std::size_t i = 0; i < sums.frames.floats.size(); ++i) {
        if (!(sums.frames.floats[i] > 0.0f)) continue;
        sum += static_cast<double>(std::fabs(mean_light(sums, static_cast<std::int64_t>(i))));
        ++count;
    }
    return static_cast<float>(darkness_of(sum, count));
}

// Of frames of the run alone, so that a resumed run ends where the whole one does. Another measure,
// as that of the denoiser, takes as long as many frames: it is taken at 8, 12, 16, 24, 32...
bool is_measured(std::uint32_t frames) {
    if (frames < kFewestFrames) return false;
    if (Hooks.picture_error == nullptr) return frames % 2 == 0;
    const std::uint32_t power = std::bit_floor(frames);
    return frames == power || frames == power + power / 2;
}

std::vector<BlockNoise> measure_blocks(const Sums& sums, float dark) {
    const BlockGrid grid = grid_over(sums.frames.width, sums.frames.height);
    const int count = grid.columns * grid.rows;
    std::vector<BlockSums> blocks(to_size(count));
#pragma omp parallel for num_threads(team_size()) schedule(static)
    for (int i = 0; i < count; ++i)
        at(blocks, i) = sums_of_block(sums, grid, i, dark);
    std::vector<BlockNoise> result(blocks.size());
    const auto round =
        static_cast<std::uint32_t>(PlaneSums.ended_of > 0 ? PlaneSums.ended_of : camera_frames());
#pragma omp parallel for num_threads(team_size()) schedule(static)
    for (int i = 0; i < count; ++i) {
        BlockNoise& noise = at(result, i);
        noise = at(blocks, i).noise;
        noise.share = share_around(blocks, grid, i, round);
        noise.variance *= noise.share;
        for (float& seen : noise.seen)
            seen *= noise.share;
        noise.error = std::sqrt(noise.variance) / (std::fabs(noise.light) + dark);
    }
    return result;
}

} // namespace

BlockGrid grid_of(const Camera& camera) {
    return grid_over(camera.width, camera.height);
}

PixelRegion block_of(const Camera& camera, int block) {
    const BlockGrid grid = grid_of(camera);
    const PixelRegion all = RenderedRegion(camera);
    const int x0 = block % grid.columns * kBlockSize, y0 = block / grid.columns * kBlockSize;
    const PixelRegion part = {std::max(x0, all.x0), std::max(y0, all.y0),
                              std::min(x0 + kBlockSize, all.x1), std::min(y0 + kBlockSize, all.y1)};
    return part.x0 < part.x1 && part.y0 < part.y1 ? part : PixelRegion{};
}

std::vector<BlockNoise> MeasureBlocks() {
    if (!keeps_planes()) return {};
    const Sums sums = sums_of_planes();
    return measure_blocks(sums, darkness(sums));
}

Noise MeasureNoise() {
    if (!keeps_planes()) return {};
    const Sums sums = sums_of_planes();
    const float dark = darkness(sums);
    const std::vector<BlockNoise> blocks = measure_blocks(sums, dark);
    const BlockGrid grid = grid_over(sums.frames.width, sums.frames.height);
    std::vector<float> errors;
    Noise noise;
    double pixels = 0.0;
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        if (!(blocks[i].pixels > 0.0f)) continue;
        errors.push_back(blocks[i].error);
        noise.known = noise.known || blocks[i].frames >= static_cast<float>(kFewestFrames);
        for_each_pixel(sums.frames, grid, static_cast<int>(i), [&](std::int64_t pixel) {
            const float n = at(sums.frames.floats, pixel);
            if (!(n > 0.0f)) return;
            const float variance = blocks[i].share * mean_of(spread_variance(sums, pixel, n));
            noise.mean += static_cast<double>(std::sqrt(variance)
                                              / (std::fabs(mean_light(sums, pixel)) + dark));
            ++pixels;
        });
    }
    if (errors.empty()) return {};
    noise.mean /= pixels;
    noise.percentile = percentile_of(std::move(errors));
    return noise;
}

double PercentileOfBlocks(const std::vector<NoiseOfPixel>& pixels, int width) {
    const int height = static_cast<int>(pixels.size()) / std::max(width, 1);
    const BlockGrid grid = grid_over(width, height);
    std::vector<double> light(blocks_of(grid)), squares(blocks_of(grid)), count(blocks_of(grid));
    double all_light = 0.0, all = 0.0;
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        if (!(pixels[i].frames > 0.0f)) continue;
        const int x = static_cast<int>(i) % width, y = static_cast<int>(i) / width;
        const auto block = to_size(y / kBlockSize * grid.columns + x / kBlockSize);
        const double error = pixels[i].error;
        light[block] += static_cast<double>(pixels[i].light);
        squares[block] += error * error;
        ++count[block];
        all_light += std::fabs(static_cast<double>(pixels[i].light));
        ++all;
    }
    const double dark = darkness_of(all_light, all);
    std::vector<float> errors;
    for (std::size_t i = 0; i < count.size(); ++i)
        if (count[i] > 0.0)
            errors.push_back(static_cast<float>(std::sqrt(squares[i] / count[i])
                                                / (std::fabs(light[i] / count[i]) + dark)));
    return percentile_of(std::move(errors));
}

void FollowNoise(std::uint32_t frames) {
    if (!(RendererSettings.noise > 0.0f) || !is_measured(frames) || !keeps_planes()) return;
    const double error =
        Hooks.picture_error != nullptr ? Hooks.picture_error() : MeasureNoise().percentile;
    IntegrateState.noise.push_back({frames, error});
}

bool target_is_reached() {
    return !IntegrateState.noise.empty()
           && IntegrateState.noise.back().percentile < static_cast<double>(RendererSettings.noise);
}

double followed_noise() {
    return IntegrateState.noise.empty() ? 0.0 : IntegrateState.noise.back().percentile;
}

double frames_expected() {
    constexpr double kFlattest = 0.25, kSteepest = 1.0, kUsual = 0.5; // errors fall by n^-slope
    const double most = camera_frames();
    if (IntegrateState.noise.empty()) return most;
    const std::uint32_t frames = IntegrateState.noise.back().frames;
    const double error = IntegrateState.noise.back().percentile;
    const auto half =
        std::find_if(IntegrateState.noise.rbegin(), IntegrateState.noise.rend(),
                     [&](const MeasuredNoise& earlier) { return 2 * earlier.frames <= frames; });
    double slope = kUsual;
    if (half != IntegrateState.noise.rend() && error > 0.0)
        slope = std::clamp(std::log(half->percentile / error)
                               / std::log(static_cast<double>(frames) / half->frames),
                           kFlattest, kSteepest);
    const double missing = std::max(error / static_cast<double>(RendererSettings.noise), 1.0);
    return std::min(frames * std::pow(missing, 1.0 / slope), most);
}

void ShowNoise(Image& image) {
    const Sums now = sums_of_planes();
    const Image frames = OfWholeFrames(now.frames), even = OfWholeFrames(now.even);
    const Image odd = OfWholeFrames(now.odd), squares = OfWholeFrames(now.squares);
    const Sums sums = {frames, even, odd, squares};
    const float dark = darkness(sums);
    const std::vector<BlockNoise> blocks = measure_blocks(sums, dark);
    const BlockGrid grid = grid_over(sums.frames.width, sums.frames.height);
    for (std::size_t i = 0; i < blocks.size(); ++i)
        for_each_pixel(sums.frames, grid, static_cast<int>(i), [&](std::int64_t pixel) {
            const float n = at(sums.frames.floats, pixel);
            const Vec3 variance = blocks[i].share * spread_variance(sums, pixel, n);
            const float scale = 1.0f / (std::fabs(mean_light(sums, pixel)) + dark);
            write_pixel(
                image, pixel,
                scale * Vec3{std::sqrt(variance.x), std::sqrt(variance.y), std::sqrt(variance.z)});
        });
}

} // namespace mh
