// A white surface point to be lit, points that respond by one layer alone, rays from them.
// SPDX-License-Identifier: MIT
#pragma once

#include "hit/ray.h"
#include "lights/types.h"

#include <vector>

namespace mh::test {

// A white lambertian point at the origin that faces up, as the hit of a camera ray from above. No
// primitive of the scene is excluded by it.
struct LitPoint {
    LitPoint();

    Ray ray;
    SurfacePoint point;
};

// A point that one layer responds at, to light from above.
struct Responder {
    const char* name;
    LitPoint lit;
    Scatter scatter;
};

// Lambertian, transmissive, glossy, diffuse hair and hair with lobe TT alone; builds the hair table
// of shader 0.
std::vector<Responder> all_responders();

// What the layer makes of radiance 1 from one steradian in a direction.
float response(const Responder& responder, const Vec3& direction);

// Over all layers, first channel.
float total(const LightSplit& split);

// The ray that a bounce of this kind sends from the point, as the n-th spreading bounce.
Ray bounced_ray(const LitPoint& lit, const Vec3& direction, Scatter scatter, int n);

} // namespace mh::test
