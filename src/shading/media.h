// Media attenuate: light is multiplied by transmittance to the power of the distance.
// SPDX-License-Identifier: MIT
#pragma once

#include "shading/types.h"

namespace mh {

// Derives the coefficients from transmittance and albedo.
void FinishMedium(Medium& medium);

// Whether the medium lets all light pass.
inline bool is_clear(const Medium& medium) {
    return medium.transmittance == splat(1.0f);
}

// transmittance^distance per channel; distance >= 0. Exactly 1 for a transmittance of 1.
Vec3 medium_attenuation(const Medium& medium, float distance);

} // namespace mh
