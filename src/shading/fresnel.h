// Reflectance of a smooth interface, exact and in the form of [Schlick94].
// SPDX-License-Identifier: MIT
#pragma once

#include <cmath>

namespace mh {

// Along the normal, for a ratio of indices of 0 or more.
constexpr float normal_reflectance(float ior) {
    const float r = (ior - 1.0f) / (ior + 1.0f);
    return r * r;
}

// f0 + (1 - f0) (1 - cosine)^5.
constexpr float schlick(float f0, float cosine) {
    const float m = 1.0f - cosine;
    const float m2 = m * m;
    return f0 + m2 * m2 * m * (1.0f - f0);
}

// Of a dielectric, unpolarised [Walter07] eq. 22; 1 where the light is totally reflected.
inline float dielectric_reflectance(float ior, float cosine) {
    const float square = ior * ior - 1.0f + cosine * cosine;
    if (!(square > 0.0f)) return 1.0f;
    const float g = std::sqrt(square);
    const float a = (g - cosine) / (g + cosine);
    const float b = (cosine * (g + cosine) - 1.0f) / (cosine * (g - cosine) + 1.0f);
    return 0.5f * a * a * (1.0f + b * b);
}

// Of a thin sheet whose faces reflect f: with what the far one sends back, f (1 - f)^2 / (1 - f^2)
// over all inner paths.
constexpr float sheet_reflectance(float f) {
    return f + f * (1.0f - f) / (1.0f + f);
}

} // namespace mh
