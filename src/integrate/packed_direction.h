// Unit vectors in 16 bits: a face of the cube, the signs, and two ratios of five bits each.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/vec3.h"

#include <cstdint>

namespace mh {

std::uint16_t pack_direction(const Vec3& v);

// Within 3 degrees of the packed vector; not of length 1.
Vec3 unpack_unscaled(std::uint16_t packed);

} // namespace mh
