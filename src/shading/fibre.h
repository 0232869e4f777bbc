// Optics of a round fibre's cross section that the tables and the lobes share.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/constants.h"
#include "math/vec3.h"
#include "shading/types.h"

namespace mh {

constexpr int kHairTableSize = kSmallTables ? 16 : 128; // rows and columns

// Path of a ray that enters the section at offset h, [Marschner03].
struct FibrePath {
    float gamma_i = 0.0f; // angle of incidence, radians
    float gamma_t = 0.0f; // after refraction
    float fresnel = 0.0f; // reflectance of the surface there
    Vec3 absorption;      // what remains after one pass through the fibre
};

// Whether the widths along and about the fibre are apart. The way through it and what its surface
// reflects then follow from the viewer's inclination alone, as in [Chiang16]: all light is kept.
inline bool has_two_widths(const HairTable& table) {
    return table.around > 0.0f;
}

// For h in [-1, 1] and the cosine of the light's inclination: that of half the difference of both
// inclinations, or of the viewer's where the fibre has two widths.
FibrePath fibre_path(const HairTable& table, float h, float cosine);

// All inner reflections from the first on, over that one: a geometric series.
inline Vec3 series_of_reflections(const FibrePath& path) {
    constexpr float kMost = 0.9999f; // at the rim, where next to no light enters
    return splat(1.0f) / (splat(1.0f) - min(path.fresnel * path.absorption, splat(kMost)));
}

} // namespace mh
