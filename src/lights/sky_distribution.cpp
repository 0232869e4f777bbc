// Construction and sampling of the exact estimator's sky.
// SPDX-License-Identifier: MIT
#include "lights/sky_distribution.h"

#include "lights/sky_light.h"
#include "lights/sky_map.h"
#include "lights/state.h"
#include "math/at.h"
#include "math/threads.h"
#include "shading/images.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>

namespace mh {

namespace {

constexpr int kRows = kSkyFaces * kSkyFaceSize;
constexpr std::size_t kFaceTexels = std::size_t{kSkyFaceSize} * kSkyFaceSize;
using Edges = std::array<float, kSkyFaceSize + 1>;

const Edges kEdges = [] {
    Edges edges;
    for (int line = 0; line <= kSkyFaceSize; ++line)
        at(edges, line) = sky_edge(line);
    return edges;
}();

// A texel's place: its face and the square of the cube that it covers.
struct TexelSquare {
    int face = 0;
    float a0 = 0.0f, a1 = 0.0f, b0 = 0.0f, b1 = 0.0f;
};

TexelSquare square_of(std::int32_t texel) {
    const int row = texel / kSkyFaceSize;
    const auto x = to_size(texel % kSkyFaceSize);
    const auto y = to_size(row % kSkyFaceSize);
    return {row / kSkyFaceSize, kEdges[x], kEdges[x + 1], kEdges[y], kEdges[y + 1]};
}

float cube_area(const TexelSquare& square) {
    return (square.a0 - square.a1) * (square.b0 - square.b1);
}

SkyTexel& texel_at(std::size_t number) {
    return SkyLight.distribution.blocks[number / kSkyBlock].texels[number % kSkyBlock];
}

// Solid angle between the middle of a face and a point of it: atan(a b / sqrt(1 + a^2 + b^2)).
double corner_angle(float a, float b) {
    const double x = static_cast<double>(a), y = static_cast<double>(b);
    return std::atan(x * y / std::sqrt(1.0 + x * x + y * y));
}

// Solid angles of the texels of a face, the same on all of them.
std::vector<double> texel_angles() {
    std::vector<double> corners(kEdges.size() * kEdges.size()), angles(kFaceTexels);
#pragma omp parallel for num_threads(team_size())
    for (std::size_t j = 0; j < kEdges.size(); ++j)
        for (std::size_t i = 0; i < kEdges.size(); ++i)
            corners[j * kEdges.size() + i] = corner_angle(kEdges[i], kEdges[j]);
    for (std::size_t j = 0; j < kSkyFaceSize; ++j)
        for (std::size_t i = 0; i < kSkyFaceSize; ++i) {
            const double* corner = &corners[j * kEdges.size() + i];
            angles[j * kSkyFaceSize + i] =
                corner[0] - corner[1] - corner[kEdges.size()] + corner[kEdges.size() + 1];
        }
    return angles;
}

// Solid angle per area of the cube.
float angle_density(float a, float b) {
    const float norm = 1.0f + a * a + b * b;
    return 1.0f / (norm * std::sqrt(norm));
}

// The middle of part i of `steps` between two edges.
float subsample(float from, float to, std::size_t i, std::size_t steps) {
    return std::lerp(from, to, (static_cast<float>(i) + 0.5f) / static_cast<float>(steps));
}

// Mean radiance of steps * steps subsamples, weighted by their solid angles.
Vec3 filtered(const TexelSquare& square, std::size_t steps) {
    Vec3 sum;
    float weights = 0.0f;
    for (std::size_t j = 0; j < steps; ++j) {
        const float b = subsample(square.b0, square.b1, j, steps);
        for (std::size_t i = 0; i < steps; ++i) {
            const float a = subsample(square.a0, square.a1, i, steps);
            const float weight = angle_density(a, b);
            const Vec3 direction = SkyLight.to_sky * sky_cube_direction(square.face, a, b);
            sum += weight * sky_image_radiance(sky_uv(direction));
            weights += weight;
        }
    }
    return sum / weights;
}

double energy_of(std::size_t texel, const std::vector<double>& angles) {
    return static_cast<double>(mean(texel_at(texel).radiance)) * angles[texel % kFaceTexels];
}

double total_energy(const std::vector<double>& angles) {
    double total = 0.0;
    for (std::size_t texel = 0; texel < kSkyTexels; ++texel)
        total += energy_of(texel, angles);
    return total;
}

// Direction of a point of the image by its continuous pixel coordinates.
Vec3 image_direction(float x, float y) {
    const float turn = kTwoPi * (1.0f - x / static_cast<float>(SkyLight.image.width)) - kPi;
    const float polar = kPi * y / static_cast<float>(SkyLight.image.height);
    const float s = std::sin(polar);
    return SkyLight.from_sky * Vec3{s * std::cos(turn), s * std::sin(turn), std::cos(polar)};
}

using Marks = std::vector<std::uint8_t>; // of texels, 1: marked

// Texels that take light of the pixel, whose look-ups reach into its neighbours.
void mark_around(int x, int y, Marks& marked) {
    constexpr int kSteps = 3; // from one neighbour to the other, twice as many halves of a pixel
    for (int j = -kSteps; j <= kSteps; ++j)
        for (int i = -kSteps; i <= kSteps; ++i) {
            const Vec3 direction =
                image_direction(static_cast<float>(x) + 0.5f + 0.5f * static_cast<float>(i),
                                static_cast<float>(y) + 0.5f + 0.5f * static_cast<float>(j));
            std::uint8_t& mark = at(marked, sky_texel(direction));
            std::atomic_ref(mark).store(1, std::memory_order_relaxed);
        }
}

// Texels whose few subsamples may miss a pixel that holds a share of the sky's light: a sun.
Marks bright_texels(const std::vector<double>& angles) {
    constexpr double kShare = 1e-4;
    const Image& image = SkyLight.image;
    const double least = kShare * total_energy(angles);
    const double pixel_angle =
        static_cast<double>(kTwoPi) / image.width * static_cast<double>(kPi) / image.height;
    Marks marked(kSkyTexels);
#pragma omp parallel for schedule(dynamic, 8) num_threads(team_size())
    for (int y = 0; y < image.height; ++y) {
        const float v = (static_cast<float>(y) + 0.5f) / static_cast<float>(image.height);
        const double angle = pixel_angle * std::sin(static_cast<double>(kPi * v));
        for (int x = 0; x < image.width; ++x) {
            const float u = (static_cast<float>(x) + 0.5f) / static_cast<float>(image.width);
            const Vec3 radiance = sky_image_radiance({u, v});
            if (static_cast<double>(mean(radiance)) * angle > least) mark_around(x, y, marked);
        }
    }
    return marked;
}

// Weighted sums of a row of texels.
struct RowSums {
    std::array<Vec3, kSkyFaceSize> radiance;
    std::array<float, kSkyFaceSize> weight = {};
};

void add_line(int face, const SkyLine& as, float b, RowSums& sums) {
    SkyPlaces places;
    place_sky_line(face, as, b, places);
    for (std::size_t i = 0; i < places.size(); ++i) {
        const float weight = angle_density(as[i], b);
        sums.radiance[i / kSkySubsamples] += weight * sky_image_radiance(places[i]);
        sums.weight[i / kSkySubsamples] += weight;
    }
}

void fill_row(int row, const SkyLine& as) {
    const std::size_t first = to_size(row) * kSkyFaceSize;
    const TexelSquare square = square_of(static_cast<std::int32_t>(first));
    RowSums sums;
    for (std::size_t j = 0; j < kSkySubsamples; ++j)
        add_line(square.face, as, subsample(square.b0, square.b1, j, kSkySubsamples), sums);
    for (std::size_t i = 0; i < kSkyFaceSize; ++i)
        texel_at(first + i).radiance = sums.radiance[i] / sums.weight[i];
}

void fill_texels() {
    SkyLine as;
    for (std::size_t i = 0; i < as.size(); ++i)
        as[i] = subsample(kEdges[i / kSkySubsamples], kEdges[i / kSkySubsamples + 1],
                          i % kSkySubsamples, kSkySubsamples);
#pragma omp parallel for schedule(dynamic, 8) num_threads(team_size())
    for (int row = 0; row < kRows; ++row)
        fill_row(row, as);
}

void refine_texels(const Marks& marked) {
    constexpr int kFewest = 16, kMost = 64;
    const int per_texel = SkyLight.image.width / kSkyFaceSize * int{kSkySubsamples};
    const auto steps = static_cast<std::size_t>(std::clamp(per_texel, kFewest, kMost));
#pragma omp parallel for schedule(dynamic, kSkyFaceSize) num_threads(team_size())
    for (std::int32_t texel = 0; texel < kSkyTexels; ++texel)
        if (at(marked, texel) != 0)
            texel_at(to_size(texel)).radiance = filtered(square_of(texel), steps);
}

void weigh_row(int row, const std::vector<double>& angles, double total) {
    SkyDistribution& sky = SkyLight.distribution;
    std::array<double, kSkyFaceSize> running;
    double sum = 0.0;
    const std::size_t first = to_size(row) * kSkyFaceSize;
    for (std::size_t column = 0; column < running.size(); ++column) {
        const double energy = energy_of(first + column, angles);
        texel_at(first + column).density =
            static_cast<float>(energy / total)
            / cube_area(square_of(static_cast<std::int32_t>(first + column)));
        running[column] = sum += energy;
    }
    set_weight(sky.rows, row, static_cast<float>(sum));
    for (std::size_t column = 0; column < running.size(); ++column) {
        const float share = sum > 0.0 ? static_cast<float>(running[column] / sum) : 1.0f;
        sky.blocks[(first + column) / kSkyBlock].shares[column % kSkyBlock] = share;
        at(sky.row_shares, row)[column / kSkyBlock] = share; // that of the last one stays
    }
}

// Which part of [begin, end) u lies at, and the place within it, in [0, 1).
float within(float u, float begin, float end) {
    return end > begin ? std::clamp((u - begin) / (end - begin), 0.0f, kLargestBelowOne) : 0.5f;
}

// The place at share u of a line of texels.
float between_edges(std::size_t line, float u) {
    return kEdges[line] + u * (kEdges[line + 1] - kEdges[line]);
}

// The first of the running shares that exceeds u, or the last one. No branch depends on u.
template<std::size_t count>
std::size_t entry_of(const std::array<float, count>& shares, float u) {
    std::int32_t below = 0;
    for (const float share : shares)
        below += share <= u ? 1 : 0;
    return std::min(to_size(below), count - 1);
}

// All lines of the block, side by side.
void prefetch(const SkyBlock& block) {
    constexpr std::size_t kLine = 64;
    const auto* const bytes = reinterpret_cast<const char*>(&block);
    for (std::size_t i = 0; i < sizeof(SkyBlock); i += kLine)
        __builtin_prefetch(bytes + i);
}

} // namespace

void BuildSkyDistribution() {
    SkyDistribution& sky = SkyLight.distribution;
    sky.blocks.assign(kSkyTexels / kSkyBlock, {});
    const std::vector<double> angles = texel_angles();
    fill_texels();
    refine_texels(bright_texels(angles));
    const double total = total_energy(angles);
    if (!(total > 0.0)) {
        sky = {};
        return;
    }
    CreateSampler(sky.rows, kRows);
    sky.row_shares.resize(kRows);
    for (int row = 0; row < kRows; ++row)
        weigh_row(row, angles, total);
    FinishSampler(sky.rows);
    if (sky.rows.size == 0) sky = {}; // too dark for floats
}

SkyPlace find_sky(const Vec2& uv) {
    const SkyDistribution& sky = SkyLight.distribution;
    const std::int32_t row = pick(sky.rows, uv.y);
    const std::size_t block = entry_of(at(sky.row_shares, row), uv.x);
    prefetch(sky.blocks[to_size(row) * kSkyRowBlocks + block]);
    return {uv, row, static_cast<std::int32_t>(block)};
}

SkyDraw draw_sky(const Vec2& uv) {
    return sky_draw_at(find_sky(uv));
}

SkyDraw sky_draw_at(const SkyPlace& place) {
    const SkyDistribution& sky = SkyLight.distribution;
    const Vec2& uv = place.uv;
    const std::size_t r = to_size(place.row), part = to_size(place.block);
    const auto& row_shares = sky.row_shares[r];
    const SkyBlock& block = sky.blocks[r * kSkyRowBlocks + part];
    const float v = within(uv.y, sky.rows.cdf[r], sky.rows.cdf[r + 1]);
    const float b = between_edges(r % kSkyFaceSize, v);
    const std::size_t entry = entry_of(block.shares, uv.x);
    const float before = part == 0 ? 0.0f : row_shares[part - 1];
    const float begin = entry == 0 ? before : block.shares[entry - 1];
    const float u = within(uv.x, begin, block.shares[entry]);
    const float a = between_edges(part * kSkyBlock + entry, u);
    const float norm = 1.0f + a * a + b * b;
    const SkyTexel& texel = block.texels[entry];
    return {sky_cube_direction(place.row / kSkyFaceSize, a, b), texel.radiance,
            texel.density * norm * std::sqrt(norm)};
}

SkyDraw seen_sky(const Vec3& direction, std::int32_t texel) {
    const float largest = max_channel(max(direction, -direction));
    const SkyTexel& seen = texel_at(to_size(texel));
    return {direction, seen.radiance, seen.density / (largest * largest * largest)};
}

void prefetch_texel(std::int32_t texel) {
    __builtin_prefetch(&texel_at(to_size(texel)));
}

std::size_t size_bytes(const SkyDistribution& sky) {
    return sky.blocks.size() * sizeof(SkyBlock) + size_bytes(sky.rows)
           + sky.row_shares.size() * sizeof(sky.row_shares[0]);
}

} // namespace mh
