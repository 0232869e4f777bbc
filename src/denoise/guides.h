// What tells which pixels are alike: smoothed features, and how noisy the picture is where.
// SPDX-License-Identifier: MIT
#pragma once

#include "denoise/denoise.h"
#include "denoise/planes.h"

#include <array>

namespace mh {

struct Guides {
    PlaneShape shape;
    FloatPlane inside; // 1 where the picture has pixels to filter
    // Variance of the picture, and of direct light where that is apart; sum over the channels.
    std::array<FloatPlane, kLights> noise;
    std::array<FloatPlane, kFeatures> feature;       // scaled to a variance of 1 over the picture
    std::array<FloatPlane, kFeatures> left_variance; // of the smoothed features
};

// What it says of the picture without direct light, and of that alone.
DenoiseInput PictureAlone(const DenoiseInput& input);
DenoiseInput DirectAlone(const DenoiseInput& input);

Guides MakeGuides(const DenoiseInput& input);

} // namespace mh
