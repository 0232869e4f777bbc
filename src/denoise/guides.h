// What tells which pixels are alike: smoothed features, and how noisy the picture is where.
// SPDX-License-Identifier: MIT
#pragma once

#include "denoise/denoise.h"
#include "denoise/planes.h"

#include <array>

namespace mh {

struct Guides {
    PlaneShape shape;
    FloatPlane inside;                         // 1 where the picture has pixels to filter
    FloatPlane noise;                          // variance of the picture, sum over its channels
    std::array<FloatPlane, kFeatures> feature; // scaled to a variance of 1 over the picture
    std::array<FloatPlane, kFeatures> left_variance; // of the smoothed features
};

bool HasHalves(const NoisyImage& picture);

Guides MakeGuides(const DenoiseInput& input);

} // namespace mh
