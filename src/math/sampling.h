// Maps from pairs of uniform numbers to disks, hemispheres, cones and spheres.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/vec3.h"

namespace mh {

// Uniform on the unit disk by the concentric map [ShirleyChiu97]; u, v in [0, 1].
Vec2 concentric_disk(const Vec2& uv);

// Density cos / pi about the third axis, as (x, y, z) of the local frame; z > 0.
Vec3 sample_cosine_local(const Vec2& uv);

// Uniform on the unit sphere: z = 1 - 2 v, r = 2 sqrt(v (1 - v)), angle 2 pi u.
Vec3 sample_sphere(const Vec2& uv);

// Uniform in the cone of directions whose cosine with the third axis is 1 - one_minus_cos or
// more, in the local frame. The complement is handed over so that narrow cones keep their digits.
Vec3 sample_cone_local(const Vec2& uv, float one_minus_cos);

} // namespace mh
