// Small scenes for the tests of lights: quads, a white surface point to be lit, rays from it.
// SPDX-License-Identifier: MIT
#pragma once

#include "lights/types.h"
#include "shading/ray.h"
#include "support/fresh_scene.h"
#include "support/replay.h"

#include <string>

namespace mh::test {

// A started library with one camera of 4 by 4 pixels and one frame, and seeded draws.
struct LightScene {
    LightScene();

    // A shader with one layer for both sides that emits.
    int add_emitter(const std::string& name, const Vec3& emission, bool virtual_light = true);

    // A square of half width r about a centre in a plane of constant z, facing up (or down), in a
    // new part of the object.
    void add_square(int object, const Vec3& center, float r, bool up, int shader = 0);

    // Phases 1, 3 and 4; the frames of the camera are set first.
    void assemble(int frames = 1);

    FreshScene fresh;
    SeededDraws draws{7};
};

// A white lambertian point at the origin that faces up, as the hit of a camera ray from above. No
// primitive of the scene is excluded by it.
struct LitPoint {
    LitPoint();

    Ray ray;
    SurfacePoint point;
};

// The ray that a bounce of this kind sends from the point, as the n-th spreading bounce.
Ray bounced_ray(const LitPoint& lit, const Vec3& direction, Scatter scatter, int n);

} // namespace mh::test
