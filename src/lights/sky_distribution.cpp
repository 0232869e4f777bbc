// Construction and sampling of the exact estimator's sky.
// SPDX-License-Identifier: MIT
#include "lights/sky_distribution.h"

#include "lights/sky_light.h"
#include "lights/sky_map.h"
#include "lights/state.h"
#include "math/threads.h"
#include "shading/images.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace mh {

namespace {

constexpr int kRows = kSkyFaces * kSkyFaceSize;
constexpr int kCoarse = 4; // subsamples of a texel along an edge

using Edges = std::array<float, kSkyFaceSize + 1>;

const Edges kEdges = [] {
    Edges edges;
    for (int line = 0; line <= kSkyFaceSize; ++line)
        edges[static_cast<std::size_t>(line)] = sky_edge(line);
    return edges;
}();

// A texel's place: its face and the square of the cube that it covers.
struct TexelSquare {
    int face = 0;
    float a0 = 0.0f, a1 = 0.0f, b0 = 0.0f, b1 = 0.0f;
};

TexelSquare square_of(std::int32_t texel) {
    const int row = texel / kSkyFaceSize;
    const auto x = static_cast<std::size_t>(texel % kSkyFaceSize);
    const auto y = static_cast<std::size_t>(row % kSkyFaceSize);
    return {row / kSkyFaceSize, kEdges[x], kEdges[x + 1], kEdges[y], kEdges[y + 1]};
}

float cube_area(const TexelSquare& square) {
    return (square.a0 - square.a1) * (square.b0 - square.b1);
}

// Solid angle between the middle of a face and a point of it: atan(a b / sqrt(1 + a^2 + b^2)).
double corner_angle(float a, float b) {
    const double x = static_cast<double>(a), y = static_cast<double>(b);
    return std::atan(x * y / std::sqrt(1.0 + x * x + y * y));
}

double solid_angle(const TexelSquare& s) {
    return corner_angle(s.a0, s.b0) - corner_angle(s.a1, s.b0) - corner_angle(s.a0, s.b1)
           + corner_angle(s.a1, s.b1);
}

// Mean radiance of steps * steps subsamples, weighted by their solid angles.
Vec3 filtered(const TexelSquare& square, int steps) {
    const float step = 1.0f / static_cast<float>(steps);
    Vec3 sum;
    float weights = 0.0f;
    for (int j = 0; j < steps; ++j) {
        const float b = std::lerp(square.b0, square.b1, (static_cast<float>(j) + 0.5f) * step);
        for (int i = 0; i < steps; ++i) {
            const float a = std::lerp(square.a0, square.a1, (static_cast<float>(i) + 0.5f) * step);
            const float norm = 1.0f + a * a + b * b;
            const float weight = 1.0f / (norm * std::sqrt(norm));
            const Vec3 direction = SkyLight.to_sky * sky_cube_direction(square.face, a, b);
            sum += weight * sky_image_radiance(sky_uv(direction));
            weights += weight;
        }
    }
    return sum / weights;
}

double energy_of(std::int32_t texel) {
    const SkyTexel& filled = SkyLight.distribution.texels[static_cast<std::size_t>(texel)];
    return static_cast<double>(mean(filled.radiance)) * solid_angle(square_of(texel));
}

double total_energy() {
    double total = 0.0;
    for (std::int32_t texel = 0; texel < kSkyTexels; ++texel)
        total += energy_of(texel);
    return total;
}

// Direction of a point of the image by its continuous pixel coordinates.
Vec3 image_direction(float x, float y) {
    const float turn = kTwoPi * (1.0f - x / static_cast<float>(SkyLight.image.width)) - kPi;
    const float polar = kPi * y / static_cast<float>(SkyLight.image.height);
    const float s = std::sin(polar);
    return SkyLight.from_sky * Vec3{s * std::cos(turn), s * std::sin(turn), std::cos(polar)};
}

// Texels that take light of the pixel, whose look-ups reach into its neighbours.
void mark_around(int x, int y, std::vector<bool>& marked) {
    constexpr int kSteps = 3; // from one neighbour to the other, twice as many halves of a pixel
    for (int j = -kSteps; j <= kSteps; ++j)
        for (int i = -kSteps; i <= kSteps; ++i) {
            const Vec3 direction =
                image_direction(static_cast<float>(x) + 0.5f + 0.5f * static_cast<float>(i),
                                static_cast<float>(y) + 0.5f + 0.5f * static_cast<float>(j));
            marked[static_cast<std::size_t>(sky_texel(direction))] = true;
        }
}

// Texels whose few subsamples may miss a pixel that holds a share of the sky's light: a sun.
std::vector<bool> bright_texels() {
    constexpr double kShare = 1e-4;
    const Image& image = SkyLight.image;
    const double least = kShare * total_energy();
    const double pixel_angle =
        static_cast<double>(kTwoPi) / image.width * static_cast<double>(kPi) / image.height;
    std::vector<bool> marked(kSkyTexels);
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

void fill_texels() {
#pragma omp parallel for schedule(dynamic, kSkyFaceSize) num_threads(team_size())
    for (std::int32_t texel = 0; texel < kSkyTexels; ++texel)
        SkyLight.distribution.texels[static_cast<std::size_t>(texel)].radiance =
            filtered(square_of(texel), kCoarse);
}

void refine_texels(const std::vector<bool>& marked) {
    constexpr int kFewest = 16, kMost = 64;
    const int steps = std::clamp(SkyLight.image.width / kSkyFaceSize * kCoarse, kFewest, kMost);
#pragma omp parallel for schedule(dynamic, kSkyFaceSize) num_threads(team_size())
    for (std::int32_t texel = 0; texel < kSkyTexels; ++texel)
        if (marked[static_cast<std::size_t>(texel)])
            SkyLight.distribution.texels[static_cast<std::size_t>(texel)].radiance =
                filtered(square_of(texel), steps);
}

void weigh_row(int row, double total) {
    SkyDistribution& sky = SkyLight.distribution;
    std::array<double, kSkyFaceSize> running;
    double sum = 0.0;
    for (int column = 0; column < kSkyFaceSize; ++column) {
        const std::int32_t texel = row * kSkyFaceSize + column;
        const double energy = energy_of(texel);
        sky.texels[static_cast<std::size_t>(texel)].density =
            static_cast<float>(energy / total) / cube_area(square_of(texel));
        running[static_cast<std::size_t>(column)] = sum += energy;
    }
    set_weight(sky.rows, row, static_cast<float>(sum));
    for (std::size_t column = 0; column < running.size(); ++column)
        sky.columns[static_cast<std::size_t>(row) * kSkyFaceSize + column] =
            sum > 0.0 ? static_cast<float>(running[column] / sum) : 1.0f;
}

// Which part of [begin, end) u lies at, and the place within it, in [0, 1).
float within(float u, float begin, float end) {
    constexpr float kLargestBelowOne = 0.99999994f;
    return end > begin ? std::clamp((u - begin) / (end - begin), 0.0f, kLargestBelowOne) : 0.5f;
}

// The first texel of [row, row end) whose running share exceeds u.
std::size_t column_of(const float* shares, float u) {
    const float* found = std::upper_bound(shares, shares + kSkyFaceSize - 1, u);
    return static_cast<std::size_t>(found - shares);
}

} // namespace

void BuildSkyDistribution() {
    SkyDistribution& sky = SkyLight.distribution;
    sky.texels.assign(kSkyTexels, {});
    fill_texels();
    refine_texels(bright_texels());
    const double total = total_energy();
    if (!(total > 0.0)) {
        sky = {};
        return;
    }
    CreateSampler(sky.rows, kRows);
    sky.columns.resize(kSkyTexels);
    for (int row = 0; row < kRows; ++row)
        weigh_row(row, total);
    FinishSampler(sky.rows);
}

SkyDraw draw_sky(const Vec2& uv) {
    const SkyDistribution& sky = SkyLight.distribution;
    const std::int32_t row = pick(sky.rows, uv.y);
    const auto r = static_cast<std::size_t>(row);
    const float v = within(uv.y, sky.rows.cdf[r], sky.rows.cdf[r + 1]);
    const float* shares = sky.columns.data() + r * kSkyFaceSize;
    const std::size_t column = column_of(shares, uv.x);
    const float u = within(uv.x, column == 0 ? 0.0f : shares[column - 1], shares[column]);
    const std::size_t texel = r * kSkyFaceSize + column;
    const TexelSquare square = square_of(static_cast<std::int32_t>(texel));
    const float a = std::lerp(square.a0, square.a1, u), b = std::lerp(square.b0, square.b1, v);
    const float norm = 1.0f + a * a + b * b;
    return {sky_cube_direction(square.face, a, b), sky.texels[texel].radiance,
            sky.texels[texel].density * norm * std::sqrt(norm)};
}

SkyDraw seen_sky(const Vec3& direction) {
    const float largest = max_channel(max(direction, -direction));
    const auto number = static_cast<std::size_t>(sky_texel(direction));
    const SkyTexel& texel = SkyLight.distribution.texels[number];
    return {direction, texel.radiance, texel.density / (largest * largest * largest)};
}

} // namespace mh
