// One frame: a sample for every pixel of the active camera's region, in parallel over rows.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/vec3.h"

#include <cstdint>
#include <vector>

namespace mh {

// Folds the frame into the running mean of the beauty image, or writes it there while frames are
// summed; adds to RayStatistics.
void RenderPixels(std::uint32_t frame);

// Hands out the clamped, unaveraged colours of the region, row by row, and adds value / sample to
// the beauty image.
void RenderPixelsTo(std::vector<Vec3>& pixels, std::uint32_t frame);

} // namespace mh
