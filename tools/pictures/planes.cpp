// Filters of picture metrics.
// SPDX-License-Identifier: MIT
#include "pictures/planes.h"

#include "math/at.h"
#include "math/threads.h"

#include <algorithm>
#include <cmath>

namespace mh {

namespace {

enum class Along { rows, columns };

PixelPlane filtered(const PixelPlane& plane, const Kernel& kernel, Along along) {
    PixelPlane result = plane;
    const int radius = static_cast<int>(kernel.size() / 2);
    const int length = along == Along::rows ? plane.width : plane.height;
    const int step = along == Along::rows ? 1 : plane.width;
#pragma omp parallel for num_threads(team_size())
    for (int y = 0; y < plane.height; ++y)
        for (int x = 0; x < plane.width; ++x) {
            const int place = along == Along::rows ? x : y;
            const int here = y * plane.width + x;
            float sum = 0.0f;
            for (int k = -radius; k <= radius; ++k) {
                const int there = here + (std::clamp(place + k, 0, length - 1) - place) * step;
                sum += at(kernel, k + radius) * at(plane.values, there);
            }
            at(result.values, here) = sum;
        }
    return result;
}

} // namespace

Kernel Gaussian(float sigma, int radius) {
    Kernel kernel;
    float sum = 0.0f;
    for (int k = -radius; k <= radius; ++k) {
        const float x = static_cast<float>(k) / sigma;
        sum += kernel.emplace_back(std::exp(-0.5f * x * x));
    }
    for (float& weight : kernel)
        weight /= sum;
    return kernel;
}

PixelPlane Filtered(const PixelPlane& plane, const Kernel& of_rows, const Kernel& of_columns) {
    return filtered(filtered(plane, of_rows, Along::rows), of_columns, Along::columns);
}

} // namespace mh
