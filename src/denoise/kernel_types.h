// What the kernels of the filter work on: planes of floats with a margin, and tiles of them.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/at.h"

#include <cstddef>

namespace mh {

constexpr int kMargin = 24; // pixels around the picture: reach, patch and what lanes overshoot
constexpr int kTile = 32;   // pixels a side
constexpr int kReach = 8;   // of the largest window, from its centre
constexpr int kColumns = 2 * kReach + 1;
constexpr int kFeatures = 7; // albedo, normal, depth
constexpr int kColours = 3;
constexpr int kLights = 2; // the picture, and direct light apart from it

// All planes have this shape. In each row the even pixels stand before the odd ones, so that every
// second pixel, the centre of a window, has its neighbours in one register.
struct PlaneShape {
    int width = 0, height = 0; // of the picture
    int stride = 0, rows = 0;  // of a plane, with its margin; whole tiles

    std::size_t place(int x, int y) const {
        const int column = x + kMargin;
        return grid_size(y + kMargin, stride) + to_size((column % 2) * (stride / 2) + column / 2);
    }
};

// Regressions of a picture on features, with weights from the likeness of a guide.
struct RegressionJob {
    PlaneShape shape;
    const float* guide[kColours];
    const float* guide_variance; // sum over its channels
    const float* feature[kFeatures];
    const float* feature_variance[kFeatures];
    const float* inside; // 1 in the picture, 0 in the margin
    const float* target[kColours];
    float* sum[kColours]; // of weighted predictions
    float* weight;
    int reach; // of the windows, up to kReach
    // Difference that counts as none, over the noise: less keeps more of detail and noise.
    float likeness;
};

// Features smoothed among pixels that are alike in all of them, and with them the noise of
// light.
struct PrefilterJob {
    PlaneShape shape;
    const float* feature[kFeatures];
    const float* variance[kFeatures];
    const float* noise[kLights];
    const float* inside;
    float* smoothed[kFeatures];
    float* left_variance[kFeatures]; // of the result
    float* smoothed_noise[kLights];
    int lights; // whose noise is smoothed
};

struct DenoiseKernel {
    const char* name;
    // Tiles by their first pixel. Regressions write up to kReach pixels beyond the tile.
    void (*regress)(const RegressionJob& job, int x, int y);
    void (*prefilter)(const PrefilterJob& job, int x, int y);
};

extern const DenoiseKernel kScalarDenoise, kAvx2Denoise;

} // namespace mh
