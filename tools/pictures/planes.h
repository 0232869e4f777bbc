// Planes of one number a pixel, and the filters of picture metrics on them.
// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

namespace mh {

struct PixelPlane {
    int width = 0, height = 0;
    std::vector<float> values;
};

// Weights from -radius to radius; an odd number of them.
using Kernel = std::vector<float>;

// exp(-x^2 / (2 sigma^2)), with the sum 1.
Kernel Gaussian(float sigma, int radius);

// Filters rows by one kernel and columns by the other; edges are continued with their last values.
PixelPlane Filtered(const PixelPlane& plane, const Kernel& of_rows, const Kernel& of_columns);

} // namespace mh
