// How different two pictures look to people.
// SPDX-License-Identifier: MIT
#pragma once

#include "pictures/pixels.h"

namespace mh {

// Both take linear light of the same size, which is shown in sRGB and clipped to 0..1; what is not
// finite counts as black.

// Mean of FLIP, [Andersson20], on a display of 67 pixels a degree: 0 for alike, up to 1. b: the
// reference.
double MeanFlip(const Pixels& a, const Pixels& b);

// Mean structural similarity of the brightness, [Wang04]: 1 for alike.
double MeanSsim(const Pixels& a, const Pixels& b);

} // namespace mh
