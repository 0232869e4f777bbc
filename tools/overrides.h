// Options that change the scene once it is read.
// SPDX-License-Identifier: MIT
#pragma once

#include "options.h"
#include "output/types.h"

namespace mh {

constexpr const char* kNoPixel = "the region contains no pixels of the picture";
bool has_pixels(const Camera& camera);

// The estimator of the options. Before images are loaded, whose texels it needs in full.
void OverrideEstimator(const Arguments& arguments);

// Puts the other options onto the records of the scene. Empty, or why there is nothing to render.
// The region is that without --region.
std::string ApplyOverrides(const Arguments& arguments, PixelRegion& region_of_scene);

// Processors that the process may use, by its affinity and the quota of its control group.
int usable_processors();

} // namespace mh
