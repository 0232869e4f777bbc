// Fibre scattering: three lobes R, TT, TRT with the longitudinal function of [dEon11] and azimuthal
// tables made once per shader.
// SPDX-License-Identifier: MIT
#pragma once

#include "shading/surface_point.h"
#include "shading/types.h"

#include <array>

namespace mh {

// Takes the parameters from the shader's first layer and its medium: alpha[0] = 30 degrees times
// the sum of the roughness channels (at least 1e-3 rad), ior, absorption = sigma_t.
void SetHairParameters(Shader& shader);

// Fills the derived parameters and the four 128 by 128 tables, and reports the time.
void BuildHairTable(HairTable& table);

// RGB values of the three lobes and, in density, one density per lobe.
void hair_glossy(const HairTable& table, const Vec3& outgoing, const Vec3& incoming,
                 const SurfacePoint& point, std::array<Vec3, 3>& lobes, Vec3& density);

// The densities alone.
Vec3 hair_lobe_pdf(const HairTable& table, const Vec3& outgoing, const Vec3& incoming,
                   const SurfacePoint& point);

// A scattered direction for offset h in [-1, 1); returns the lobe (0 R, 1 TT, 2 TRT) and the factor
// by which the returned light counts.
int sample_hair(const HairTable& table, float h, const SurfacePoint& point, Vec3& direction,
                Vec3& attenuation);

} // namespace mh
