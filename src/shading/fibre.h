// Optics of a round fibre's cross section that the tables and the lobes share.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/constants.h"
#include "math/vec3.h"

namespace mh {

constexpr int kHairTableSize = kSmallTables ? 16 : 128; // rows and columns

// Path of a ray that enters the section at offset h, [Marschner03].
struct FibrePath {
    float gamma_i = 0.0f; // angle of incidence, radians
    float gamma_t = 0.0f; // after refraction
    float fresnel = 0.0f; // reflectance of the surface there
    Vec3 absorption;      // what remains after one pass through the fibre
};

// For h in [-1, 1], cos_d the cosine of half the difference of the two inclinations, f0 the
// reflectance along the normal.
FibrePath fibre_path(float h, float cos_d, float ior, float f0, const Vec3& absorption);

} // namespace mh
