// The radiance estimator and the scattering functions that recurse into it.
// SPDX-License-Identifier: MIT
#pragma once

#include "shading/ray.h"

namespace mh {

// Light that arrives along the ray. Origin, direction, weight and counters are the caller's; the
// hit fields are those of the hit on return.
Vec3 radiance(Ray& ray);

} // namespace mh
