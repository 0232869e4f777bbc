// An estimate of a picture's noise from the picture alone.
// SPDX-License-Identifier: MIT
#pragma once

#include "output/types.h"

#include <cstdint>
#include <vector>

namespace mh {

// The error of the picture, estimated from how far it still moves: between n and 2 n frames by as
// much as it is off in the end, as the second half is as good as the first. From a part of its
// pixels.
struct DriftNoise {
    std::vector<float> before; // brightness after `frames`
    std::uint32_t frames = 0, next = 1;
    double error = 0.0;
};

// After a whole frame, by the thread that renders; does nothing but after 1, 2, 4, 8, ...
void FollowDrift(DriftNoise& drift, const Image& beauty, std::uint32_t frames);

// What it says of the frames there are now.
double NoiseNow(const DriftNoise& drift, std::uint32_t frames);

} // namespace mh
