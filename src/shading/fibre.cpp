// The path of light through a fibre's section. Called by the table's build and the hair sampler.
// SPDX-License-Identifier: MIT
#include "shading/fibre.h"

#include "math/roots.h"
#include "shading/fresnel.h"

#include <algorithm>
#include <cmath>

namespace mh {

namespace {

float safe_asin(float x) {
    return std::asin(std::clamp(x, -1.0f, 1.0f));
}

} // namespace

FibrePath fibre_path(const HairTable& table, float h, float cosine) {
    FibrePath path;
    // The modified index sqrt(ior^2 - sin^2) / cos of an inclined ray.
    const float inside = safe_root(table.ior * table.ior - 1.0f + cosine * cosine);
    const float sin_t = h * cosine / inside;
    const float cos_t = safe_root(1.0f - sin_t * sin_t);
    path.gamma_i = safe_asin(h);
    path.gamma_t = safe_asin(sin_t);
    const float cos_i = std::cos(path.gamma_i) * cosine;
    float way = -2.0f * (1.0f + std::cos(2.0f * path.gamma_t)) / cos_t;
    if (has_two_widths(table)) {
        path.fresnel = dielectric_reflectance(table.ior, cos_i);
        way *= table.ior / inside; // over the cosine of the inclination inside
    } else {
        path.fresnel = schlick(table.f0, cos_i);
    }
    const Vec3& absorption = table.absorption;
    path.absorption = {std::exp(absorption.x * way), std::exp(absorption.y * way),
                       std::exp(absorption.z * way)};
    return path;
}

} // namespace mh
