// Coefficients of media, derived once per shader and for the sky, and the attenuation of a ray
// segment (the Beer-Lambert law).
// SPDX-License-Identifier: MIT
#include "shading/media.h"

#include <algorithm>
#include <cmath>

namespace mh {

namespace {

// -ln of the light that remains after one unit of length.
float extinction(float transmittance) {
    constexpr float kOpaque = 1e-10f;
    constexpr float kOpaqueExtinction = 10.0f;
    return transmittance >= kOpaque ? 0.0f - std::log(transmittance) : kOpaqueExtinction;
}

float attenuation(float transmittance, float distance) {
    if (transmittance == 1.0f) return 1.0f;
    return std::pow(transmittance > 0.0f ? transmittance : 0.0f, distance);
}

} // namespace

void FinishMedium(Medium& medium) {
    medium.average_cosine =
        std::isnan(medium.average_cosine) ? 0.0f : std::clamp(medium.average_cosine, -1.0f, 1.0f);
    if (min_channel(medium.transmittance) > 1.0f) { // amplifies: no coefficients describe it
        medium.albedo = {};
        return;
    }
    const Vec3& t = medium.transmittance;
    medium.sigma_t = {extinction(t.x), extinction(t.y), extinction(t.z)};
    medium.sigma_s = medium.sigma_t * medium.albedo;
    medium.max_sigma_s = max_channel(medium.sigma_s);
    medium.remainder = medium.sigma_t - splat(medium.max_sigma_s);
    medium.scatter_ratio =
        medium.max_sigma_s == 0.0f ? Vec3{} : medium.sigma_s / medium.max_sigma_s;
}

Vec3 medium_attenuation(const Medium& medium, float distance) {
    const Vec3& t = medium.transmittance;
    return {attenuation(t.x, distance), attenuation(t.y, distance), attenuation(t.z, distance)};
}

} // namespace mh
