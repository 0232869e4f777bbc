// Bounces that two neighbouring pixels share in the exact estimator: what the diffuse bounce of one
// found lights the first hit of the other too [BekaertSbertHalton02]. The two samples of each pixel
// are weighed by their densities.
// SPDX-License-Identifier: MIT
#pragma once

#include "hit/ray.h"
#include "math/vec3.h"

#include <cstdint>

namespace mh {

// What the path of one pixel leaves for its neighbour.
struct SharedBounce {
    Vec3 origin, normal, geometric_normal; // of the first hit
    Vec3 color;                            // by which its diffuse layer takes the light of a bounce
    Vec3 end, end_normal, end_geometric_normal; // of the surface that the bounce met
    Vec3 light;                                 // that leaves it diffusely
    float density = 0.0f; // of the first hit's bounces at the end, per area there, times pi
    std::uint8_t thread = 0;
    bool begins = false; // the first hit can share
};

// Whether paths of this run may share: nothing tells their light apart afterwards, no medium dims
// it.
bool can_share_bounces();

// Until the next call the paths of this thread are noted in `bounce`; null: in none.
void note_bounces_in(std::uint8_t thread, SharedBounce* bounce);

// Notes the first hit of a camera ray, and the hit of its diffuse bounce with the light that this
// sends on diffusely; nothing for other rays. The layers have been evaluated.
void note_first_hit(const Ray& ray, const SurfacePoint& point);
void note_bounce_end(const Ray& ray, const SurfacePoint& point, const Vec3& light);

// The same of a hit on a face of the root object that has no surface point. No layer of it depends
// on the viewer.
void note_bare_end(const Ray& ray, const Vec3& light);

// Moves light between the values of two pixels: each gives the other its share.
void share_bounces(const SharedBounce& a, const SharedBounce& b, Vec3& change_of_a,
                   Vec3& change_of_b);

} // namespace mh
