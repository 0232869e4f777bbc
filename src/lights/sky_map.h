// The sky's image as six faces of texels that cover nearly equal solid angles, and the sampling
// table over them. Private to this folder.
// SPDX-License-Identifier: MIT
#pragma once

#include "lights/types.h"

namespace mh {

// Texels per steradian; the warp of the faces makes this nearly the same everywhere.
constexpr float kTexelDensity = static_cast<float>(kSkyTexels) / (4.0f * kPi);

// Filters the image into the faces, keeps the radiance of the texels' corners and fills the table,
// all by sky_direction_radiance. An image that is black leaves the table empty.
void BuildSkyMap();

// Direction of the corner of a texel that the table was picked for.
Vec3 sky_texel_direction(std::int32_t texel);

// Filtered radiance of a texel of the map.
Vec3 sky_map_radiance(std::int32_t texel);

} // namespace mh
