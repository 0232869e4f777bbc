// How far the picture is from its limit, estimated from the sums of the planes.
// SPDX-License-Identifier: MIT
#pragma once

#include "shading/types.h"

namespace mh {

// Fills the image with each pixel's standard error per channel, over its brightness.
void ShowNoise(Image& image);

} // namespace mh
