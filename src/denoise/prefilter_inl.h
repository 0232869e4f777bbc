// Non-local means of the features with themselves as the guide [Rousselle12], so that what is left
// of their noise does not come back with the colours that are regressed on them.
// SPDX-License-Identifier: MIT
#pragma once

#include "denoise/regression_inl.h"
#include "math/at.h"

namespace mh {
namespace {

constexpr int kSmoothReach = 5;
constexpr int kHalfTile = kTile / 2; // pixels of a parity

// Sums over the pixels of a tile's row of one parity.
struct SmoothSums {
    float weight[kTile][2][kHalfTile];
    float noise[kLights][kTile][2][kHalfTile];
    float value[kTile][kFeatures][2][kHalfTile];
    float variance[kTile][kFeatures][2][kHalfTile];
};

inline Float8 group_difference(const PrefilterJob& job, std::size_t p, std::size_t q, int first,
                               int end) {
    Float8 squares = zero8(), noise = fill<Float8>(1e-6f); // features have a variance of 1
    for (int i = first; i < end; ++i) {
        const Float8 d = load<Float8>(job.feature[i] + p) - load<Float8>(job.feature[i] + q);
        const Float8 vp = load<Float8>(job.variance[i] + p), vq = load<Float8>(job.variance[i] + q);
        squares = squares + (d * d - (vp + min(vp, vq)));
        noise = noise + (vp + vq);
    }
    return squares / noise;
}

// The largest of the differences of albedo, normal and depth.
inline Float8 feature_difference(const PrefilterJob& job, std::size_t p, std::size_t q) {
    return max(max(group_difference(job, p, q, 0, 3), group_difference(job, p, q, 3, 6)),
               group_difference(job, p, q, 6, 7));
}

// Differences summed over patches of 3 x 3 pixels; of a row from 4 pixels before the tile.
inline void smooth_weights(const PrefilterJob& job, int x, int y, int dx, int dy,
                           Float8 (&weights)[kTile][2][2]) {
    constexpr int kWide = 3 * kLanes;
    float rows[kTile + 2][2][kWide];
    for (int row = 0; row < kTile + 2; ++row)
        for (int parity = 0; parity < 2; ++parity) {
            const int px = x - 4 + parity, py = y - 1 + row;
            const std::size_t p = job.shape.place(px, py), q = job.shape.place(px + dx, py + dy);
            for (std::size_t i = 0; i < kWide; i += kLanes)
                store(rows[row][parity] + i, feature_difference(job, p + i, q + i));
        }
    const Float8 scale = fill<Float8>(1.0f / 9.0f);
    for (int row = 0; row < kTile; ++row) {
        float columns[2][kWide];
        for (int parity = 0; parity < 2; ++parity)
            for (int i = 0; i < kWide; i += kLanes)
                store(columns[parity] + i, load<Float8>(rows[row][parity] + i)
                                               + load<Float8>(rows[row + 1][parity] + i)
                                               + load<Float8>(rows[row + 2][parity] + i));
        for (int parity = 0; parity < 2; ++parity) {
            const std::size_t q = job.shape.place(x + parity + dx, y + row + dy);
            for (int v = 0; v < 2; ++v) {
                const int at = 2 + kLanes * v; // of the pixel; its neighbours have the other parity
                const float* other = columns[1 - parity] + at + parity;
                const Float8 sum = load<Float8>(columns[parity] + at) + load<Float8>(other - 1)
                                   + load<Float8>(other);
                weights[row][parity][v] =
                    falloff(sum * scale) * load<Float8>(job.inside + q + to_size(kLanes * v));
            }
        }
    }
}

inline void add_to(float* sum, Float8 value) {
    store(sum, load<Float8>(sum) + value);
}

inline void add_smoothed(const PrefilterJob& job, int x, int y, int dx, int dy, SmoothSums& sums) {
    Float8 weights[kTile][2][2];
    smooth_weights(job, x, y, dx, dy, weights);
    for (int row = 0; row < kTile; ++row)
        for (int parity = 0; parity < 2; ++parity)
            for (int v = 0; v < 2; ++v) {
                const Float8 w = weights[row][parity][v];
                if (less(zero8(), w) == 0) continue;
                const int at = kLanes * v;
                const std::size_t q = job.shape.place(x + parity + dx, y + row + dy) + to_size(at);
                add_to(sums.weight[row][parity] + at, w);
                for (int i = 0; i < job.lights; ++i)
                    add_to(sums.noise[i][row][parity] + at, w * load<Float8>(job.noise[i] + q));
                for (int c = 0; c < kFeatures; ++c) {
                    add_to(sums.value[row][c][parity] + at, w * load<Float8>(job.feature[c] + q));
                    add_to(sums.variance[row][c][parity] + at,
                           w * w * load<Float8>(job.variance[c] + q));
                }
            }
}

inline void prefilter_tile(const PrefilterJob& job, int x, int y) {
    SmoothSums sums = {};
    for (int dy = -kSmoothReach; dy <= kSmoothReach; ++dy)
        for (int dx = -kSmoothReach; dx <= kSmoothReach; ++dx)
            add_smoothed(job, x, y, dx, dy, sums);
    for (int row = 0; row < kTile; ++row)
        for (int parity = 0; parity < 2; ++parity)
            for (int at = 0; at < kHalfTile; at += kLanes) {
                const std::size_t p = job.shape.place(x + parity, y + row) + to_size(at);
                constexpr float kTiny = 1e-20f; // outside of the picture there are no weights
                const Float8 scale =
                    fill<Float8>(1.0f)
                    / max(load<Float8>(sums.weight[row][parity] + at), fill<Float8>(kTiny));
                for (int i = 0; i < job.lights; ++i)
                    store(job.smoothed_noise[i] + p,
                          load<Float8>(sums.noise[i][row][parity] + at) * scale);
                for (int c = 0; c < kFeatures; ++c) {
                    store(job.smoothed[c] + p,
                          load<Float8>(sums.value[row][c][parity] + at) * scale);
                    store(job.left_variance[c] + p,
                          load<Float8>(sums.variance[row][c][parity] + at) * scale * scale);
                }
            }
}

} // namespace
} // namespace mh
