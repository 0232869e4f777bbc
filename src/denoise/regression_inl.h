// First-order regression of colours on features in windows around every second pixel of every
// second row [Bitterli16], eight windows side by side: weights by the likeness of patches of the
// guide [Rousselle12], normal equations, and what each window predicts for all of its pixels.
// SPDX-License-Identifier: MIT
#pragma once

#include "denoise/kernel_types.h"
#include "math/simd8.h"

namespace mh {
namespace {

constexpr int kLanes = 8;
constexpr int kCentres = kTile / 2;         // windows a side of a tile
constexpr int kVectors = kCentres / kLanes; // registers that hold a row of them
constexpr int kPlaces = 1 + 2 + kFeatures;  // constant, place in the window, features
constexpr int kProducts = kPlaces * (kPlaces + 1) / 2;
constexpr int kShifts = kColumns * kColumns;
constexpr float kPlaceScale = 1.0f / kReach;

// Patches are 3 x 3 pixels, of which the upper and the lower row count: the one between has its own
// windows elsewhere.
constexpr float kPatchPixels = 6.0f;
constexpr int kDifferenceRows = kCentres + 1;
constexpr int kDifferenceColumns = 3 * kLanes; // what lanes overshoot is not used

using TileWeights = Float8[kShifts][kCentres][kVectors];

inline Float8 zero8() {
    return fill<Float8>(0.0f);
}

// Squared difference of pixels beyond what their noise explains, over that noise [Rousselle12].
inline Float8 difference(const RegressionJob& job, std::size_t p, std::size_t q) {
    Float8 squares = zero8();
    for (const float* guide : job.guide) {
        const Float8 d = load<Float8>(guide + p) - load<Float8>(guide + q);
        squares = squares + d * d;
    }
    const Float8 vp = load<Float8>(job.guide_variance + p);
    const Float8 vq = load<Float8>(job.guide_variance + q);
    constexpr float kLeast = 1e-6f; // variance below which nothing is distinguished
    return (squares - (vp + min(vp, vq)))
           / (fill<Float8>(kLeast) + fill<Float8>(job.likeness) * (vp + vq));
}

// exp(-x) nearly, with an end: (1 - x / 8)^8 for x in 0..8.
inline Float8 falloff(Float8 x) {
    const Float8 one = fill<Float8>(1.0f);
    Float8 r = max(one - max(x, zero8()) * fill<Float8>(0.125f), zero8());
    r = r * r;
    r = r * r;
    return r * r;
}

// Differences between pixels of every second row and those at a shift; even pixels of the tile, and
// odd ones from the pixel before it.
struct Differences {
    float even[kDifferenceRows][kDifferenceColumns], odd[kDifferenceRows][kDifferenceColumns];
};

inline void find_differences(const RegressionJob& job, int x, int y, int dx, int dy,
                             Differences& differences) {
    const PlaneShape& shape = job.shape;
    for (int row = 0; row < kDifferenceRows; ++row) {
        const int py = y - 1 + 2 * row;
        const std::size_t even = shape.place(x, py), odd = shape.place(x - 1, py);
        const std::size_t even_to = shape.place(x + dx, py + dy);
        const std::size_t odd_to = shape.place(x - 1 + dx, py + dy);
        for (std::size_t i = 0; i < kCentres; i += kLanes)
            store(differences.even[row] + i, difference(job, even + i, even_to + i));
        for (std::size_t i = 0; i < kDifferenceColumns; i += kLanes)
            store(differences.odd[row] + i, difference(job, odd + i, odd_to + i));
    }
}

// Weights of the pixels at a shift, for all windows of the tile.
inline void find_weights(const RegressionJob& job, int x, int y, int dx, int dy,
                         Float8 (&weights)[kCentres][kVectors]) {
    Differences differences;
    find_differences(job, x, y, dx, dy, differences);
    for (int row = 0; row < kCentres; ++row) {
        const float* inside = job.inside + job.shape.place(x + dx, y + 2 * row + dy);
        for (int v = 0; v < kVectors; ++v) {
            const int at = kLanes * v;
            Float8 sum = zero8();
            for (int k = row; k < row + 2; ++k)
                sum = sum + load<Float8>(differences.even[k] + at)
                      + load<Float8>(differences.odd[k] + at)
                      + load<Float8>(differences.odd[k] + at + 1);
            weights[row][v] =
                falloff(sum * fill<Float8>(1.0f / kPatchPixels)) * load<Float8>(inside + at);
        }
    }
}

// Normal equations of eight windows, upper triangle row by row, and their right sides.
struct Equations {
    Float8 products[kProducts], colours[kColours][kPlaces];
};

inline void add_pixel(const RegressionJob& job, std::size_t q, Float8 w, int dx, int dy,
                      const Float8 (&centre)[kFeatures], Equations& sums) {
    Float8 x[kPlaces];
    x[0] = fill<Float8>(1.0f);
    x[1] = fill<Float8>(kPlaceScale * static_cast<float>(dx));
    x[2] = fill<Float8>(kPlaceScale * static_cast<float>(dy));
    for (int i = 0; i < kFeatures; ++i)
        x[3 + i] = load<Float8>(job.feature[i] + q) - centre[i];
    Float8 colour[kColours];
    for (int c = 0; c < kColours; ++c)
        colour[c] = load<Float8>(job.target[c] + q);
    int at = 0;
    for (int i = 0; i < kPlaces; ++i) {
        const Float8 wx = w * x[i];
        for (int j = i; j < kPlaces; ++j, ++at)
            sums.products[at] = sums.products[at] + wx * x[j];
        for (int c = 0; c < kColours; ++c)
            sums.colours[c][i] = sums.colours[c][i] + wx * colour[c];
    }
}

// Cholesky's factor of the products, row i divided by the root of its pivot; a column that the ones
// before it explain, up to rounding, is left out. A feature that varies by no more than its noise
// in the window is held back by that noise.
inline void factorise(const Float8 (&noise)[kFeatures], const Float8 (&products)[kProducts],
                      Float8 (&a)[kPlaces][kPlaces], Float8 (&inverse)[kPlaces]) {
    constexpr float kRounding = 5e-7f; // of sums of floats, relative
    constexpr float kFlat = 1e-7f;     // variance in a window, of 1 over the picture
    constexpr float kTiny = 1e-12f;    // keeps roots of nothing finite
    const Float8 one = fill<Float8>(1.0f), count = products[0];
    int at = 0;
    for (int i = 0; i < kPlaces; ++i)
        for (int j = i; j < kPlaces; ++j, ++at)
            a[i][j] = products[at];
    for (int i = 0; i < kPlaces; ++i) {
        const Float8 rounding =
            i > 0 ? a[i][i] * fill<Float8>(kRounding) + count * fill<Float8>(kFlat) : zero8();
        a[i][i] = a[i][i] + rounding;
        if (i >= kPlaces - kFeatures) a[i][i] = a[i][i] + count * noise[i - (kPlaces - kFeatures)];
        for (int k = 0; k < i; ++k)
            for (int j = i; j < kPlaces; ++j)
                a[i][j] = a[i][j] - a[k][i] * a[k][j];
        const Float8 beyond = a[i][i] - fill<Float8>(2.0f) * rounding;
        const Float8 kept = min(max(beyond * fill<Float8>(1e30f), zero8()), one); // 0 or 1
        inverse[i] = kept / root(max(a[i][i], fill<Float8>(kTiny)));
        for (int j = i; j < kPlaces; ++j)
            a[i][j] = a[i][j] * inverse[i];
    }
}

// The colours become the coefficients.
inline void solve(const Float8 (&noise)[kFeatures], Equations& e) {
    Float8 a[kPlaces][kPlaces], inverse[kPlaces];
    factorise(noise, e.products, a, inverse);
    for (Float8(&b)[kPlaces] : e.colours) {
        for (int i = 0; i < kPlaces; ++i) {
            for (int k = 0; k < i; ++k)
                b[i] = b[i] - a[k][i] * b[k];
            b[i] = b[i] * inverse[i];
        }
        for (int i = kPlaces - 1; i >= 0; --i) {
            for (int k = i + 1; k < kPlaces; ++k)
                b[i] = b[i] - a[i][k] * b[k];
            b[i] = b[i] * inverse[i];
        }
    }
}

inline void predict(const RegressionJob& job, std::size_t q, Float8 w, int dx, int dy,
                    const Float8 (&coefficients)[kColours][kPlaces]) {
    Float8 feature[kFeatures];
    for (int i = 0; i < kFeatures; ++i)
        feature[i] = load<Float8>(job.feature[i] + q);
    const Float8 sx = fill<Float8>(kPlaceScale * static_cast<float>(dx));
    const Float8 sy = fill<Float8>(kPlaceScale * static_cast<float>(dy));
    for (int c = 0; c < kColours; ++c) {
        const Float8(&b)[kPlaces] = coefficients[c];
        Float8 value = b[0] + b[1] * sx + b[2] * sy;
        for (int i = 0; i < kFeatures; ++i)
            value = value + b[3 + i] * feature[i];
        store(job.sum[c] + q, load<Float8>(job.sum[c] + q) + w * value);
    }
    store(job.weight + q, load<Float8>(job.weight + q) + w);
}

// Calls act(weight, place of the pixel, dx, dy) for all pixels with a weight in one of the windows.
template<typename Act>
inline void for_window(const RegressionJob& job, const TileWeights& weights, int x, int y, int row,
                       int v, const Act& act) {
    int shift = 0;
    for (int dy = -job.reach; dy <= job.reach; ++dy)
        for (int dx = -job.reach; dx <= job.reach; ++dx, ++shift) {
            const Float8 w = weights[shift][row][v];
            if (less(zero8(), w) == 0) continue;
            act(w, job.shape.place(x + 2 * kLanes * v + dx, y + 2 * row + dy), dx, dy);
        }
}

inline void regress_windows(const RegressionJob& job, const TileWeights& weights, int x, int y,
                            int row, int v) {
    const std::size_t p = job.shape.place(x + 2 * kLanes * v, y + 2 * row);
    Float8 centre[kFeatures], noise[kFeatures];
    for (int i = 0; i < kFeatures; ++i) {
        centre[i] = load<Float8>(job.feature[i] + p);
        noise[i] = load<Float8>(job.feature_variance[i] + p);
    }
    Equations sums;
    for (Float8& product : sums.products)
        product = zero8();
    for (auto& colour : sums.colours)
        for (Float8& sum : colour)
            sum = zero8();
    for_window(job, weights, x, y, row, v, [&](Float8 w, std::size_t q, int dx, int dy) {
        add_pixel(job, q, w, dx, dy, centre, sums);
    });
    if (less(zero8(), sums.products[0]) == 0) return; // outside of the picture
    solve(noise, sums);
    for (auto& b : sums.colours) // from differences to the features themselves
        for (int i = 0; i < kFeatures; ++i)
            b[0] = b[0] - b[3 + i] * centre[i];
    for_window(job, weights, x, y, row, v, [&](Float8 w, std::size_t q, int dx, int dy) {
        predict(job, q, w, dx, dy, sums.colours);
    });
}

inline void regress_tile(const RegressionJob& job, int x, int y) {
    TileWeights weights;
    int shift = 0;
    for (int dy = -job.reach; dy <= job.reach; ++dy)
        for (int dx = -job.reach; dx <= job.reach; ++dx, ++shift)
            find_weights(job, x, y, dx, dy, weights[shift]);
    for (int row = 0; row < kCentres; ++row)
        for (int v = 0; v < kVectors; ++v)
            regress_windows(job, weights, x, y, row, v);
}

} // namespace
} // namespace mh
