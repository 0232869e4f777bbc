// AOVs that are made from the planes of output/feature_planes.h when they are written.
// SPDX-License-Identifier: MIT
#pragma once

#include "output/types.h"

namespace mh {

bool shows_planes(const Aov& aov);

// Fills the image of such an AOV from the whole frames done; black when no planes are kept.
void ShowPlanes(Aov& aov);

// The same for all of the active camera.
void ShowAllPlanes();

} // namespace mh
