// Light samples of the lamps, and their balance with bounces: the exact estimator. Private to this
// folder.
// SPDX-License-Identifier: MIT
#pragma once

#include "lights/light_shot.h"

namespace mh {

// One sample of one lamp.
void add_lamp_sample(const LightShot& shot, LightSplit& sum);

// Share of the emission that a ray met against the samples that its source point took of it.
float lamp_bounce_share(const Ray& ray, const SurfacePoint& point);

} // namespace mh
