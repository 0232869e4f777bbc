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

FibrePath fibre_path(float h, float cos_d, float ior, float f0, const Vec3& absorption) {
    FibrePath path;
    // The modified index sqrt(ior^2 - 1 + cos_d^2) / cos_d of an inclined ray.
    const float sin_t = h * cos_d / safe_root(ior * ior - 1.0f + cos_d * cos_d);
    const float cos_t = safe_root(1.0f - sin_t * sin_t);
    path.gamma_i = safe_asin(h);
    path.gamma_t = safe_asin(sin_t);
    path.fresnel = schlick(f0, std::cos(path.gamma_i) * cos_d);
    const float way = -2.0f * (1.0f + std::cos(2.0f * path.gamma_t)) / cos_t;
    path.absorption = {std::exp(absorption.x * way), std::exp(absorption.y * way),
                       std::exp(absorption.z * way)};
    return path;
}

} // namespace mh
