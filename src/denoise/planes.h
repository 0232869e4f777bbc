// Planes of the filter, from pictures and back.
// SPDX-License-Identifier: MIT
#pragma once

#include "denoise/kernel_types.h"

#include <functional>
#include <span>
#include <vector>

namespace mh {

using FloatPlane = std::vector<float>; // of a PlaneShape

PlaneShape ShapeOf(int width, int height);

FloatPlane EmptyPlane(const PlaneShape& shape);

// The pixels' values, those of the edge repeated in the margin.
FloatPlane MakePlane(const PlaneShape& shape, const std::function<float(std::size_t pixel)>& value);

// The same plane from what it holds inside.
void RepeatEdges(const PlaneShape& shape, FloatPlane& plane);

// Mean over squares of 2 * reach + 1 pixels, fewer at the edge of the picture, row by row.
std::vector<float> BoxMean(const std::vector<float>& pixels, int width, int height, int reach);

} // namespace mh
