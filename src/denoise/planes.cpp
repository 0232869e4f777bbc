// Copies into and between planes, on all threads.
// SPDX-License-Identifier: MIT
#include "denoise/planes.h"

#include "math/at.h"
#include "math/threads.h"

#include <algorithm>

namespace mh {

namespace {

int whole_tiles(int pixels) {
    return (pixels + kTile - 1) / kTile * kTile;
}

// Means over 2 * reach + 1 values of a line, fewer at its ends.
void mean_of_line(const float* from, float* to, int count, int step, int reach) {
    double sum = 0.0;
    const auto value = [&](int i) { return static_cast<double>(from[std::ptrdiff_t{i} * step]); };
    for (int i = 0; i < std::min(reach, count); ++i)
        sum += value(i);
    for (int i = 0; i < count; ++i) {
        if (i + reach < count) sum += value(i + reach);
        if (i - reach > 0) sum -= value(i - reach - 1);
        const int inside = std::min(i + reach, count - 1) - std::max(i - reach, 0) + 1;
        to[std::ptrdiff_t{i} * step] = static_cast<float>(sum / inside);
    }
}

} // namespace

PlaneShape ShapeOf(int width, int height) {
    return {width, height, whole_tiles(width) + 2 * kMargin, whole_tiles(height) + 2 * kMargin};
}

FloatPlane EmptyPlane(const PlaneShape& shape) {
    return FloatPlane(grid_size(shape.stride, shape.rows));
}

FloatPlane MakePlane(const PlaneShape& shape,
                     const std::function<float(std::size_t pixel)>& value) {
    FloatPlane plane = EmptyPlane(shape);
#pragma omp parallel for num_threads(team_size()) default(none) shared(shape, value, plane)
    for (int y = 0; y < shape.height; ++y)
        for (int x = 0; x < shape.width; ++x)
            plane[shape.place(x, y)] = value(grid_place(x, y, shape.width));
    RepeatEdges(shape, plane);
    return plane;
}

void RepeatEdges(const PlaneShape& shape, FloatPlane& plane) {
    const int right = shape.stride - kMargin, bottom = shape.rows - kMargin;
    for (int y = -kMargin; y < bottom; ++y) {
        const int row = std::clamp(y, 0, shape.height - 1);
        for (int x = -kMargin; x < right; ++x)
            if (x < 0 || x >= shape.width || y != row)
                plane[shape.place(x, y)] =
                    plane[shape.place(std::clamp(x, 0, shape.width - 1), row)];
    }
}

std::vector<float> BoxMean(const std::vector<float>& pixels, int width, int height, int reach) {
    std::vector<float> across(pixels.size()), result(pixels.size());
#pragma omp parallel num_threads(team_size()) default(none)                                        \
    shared(pixels, across, result, width, height, reach)
    {
#pragma omp for
        for (int y = 0; y < height; ++y)
            mean_of_line(&pixels[grid_place(0, y, width)], &across[grid_place(0, y, width)], width,
                         1, reach);
#pragma omp for
        for (int x = 0; x < width; ++x)
            mean_of_line(&at(across, x), &at(result, x), height, width, reach);
    }
    return result;
}

} // namespace mh
