// The radiance estimator: the one recursion of a camera path.
// SPDX-License-Identifier: MIT
#pragma once

#include "hit/ray.h"

namespace mh {

// Light that arrives along the ray. Origin, direction, weight and counters are the caller's; the
// hit fields are those of the hit on return. Black from ray_depth on, and when no channel of the
// weight exceeds 1/1024.
Vec3 radiance(Ray& ray);

} // namespace mh
