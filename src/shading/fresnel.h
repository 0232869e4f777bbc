// Reflectance of a smooth interface in the form of [Schlick94].
// SPDX-License-Identifier: MIT
#pragma once

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

// Of a thin sheet whose faces reflect f: with what the far one sends back, f (1 - f)^2 / (1 - f^2)
// over all inner paths.
constexpr float sheet_reflectance(float f) {
    return f + f * (1.0f - f) / (1.0f + f);
}

} // namespace mh
