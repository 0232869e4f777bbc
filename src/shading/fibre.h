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

// All inner reflections from the first on, over that one: a geometric series.
inline Vec3 series_of_reflections(const FibrePath& path) {
    constexpr float kMost = 0.9999f; // at the rim, where next to no light enters
    return splat(1.0f) / (splat(1.0f) - min(path.fresnel * path.absorption, splat(kMost)));
}

} // namespace mh
