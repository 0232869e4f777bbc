// Caustic photons: a kd-tree [Jensen01] and the estimate from the 32 nearest.
// SPDX-License-Identifier: MIT
#pragma once

#include "shading/ray.h"

namespace mh {

// Builds the tree over Photons and reports; resets the caches of all threads.
void BuildPhotonTree();

// Light of caustic photons around the point; black with fewer than two.
Vec3 estimate_caustics(const Ray& ray, const SurfacePoint& point);

// Unit vectors in 16 bits: a face of the cube and two ratios of five bits.
std::uint16_t pack_direction(const Vec3& v);
Vec3 unpack_direction(std::uint16_t packed);

} // namespace mh
