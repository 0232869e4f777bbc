// Small scenes for the tests of lights: squares, a white surface point to be lit, rays from it.
// SPDX-License-Identifier: MIT
#pragma once

#include "lights/types.h"
#include "shading/ray.h"
#include "support/fresh_scene.h"
#include "support/replay.h"

#include <vector>

namespace mh::test {

// A started library with one camera of 4 by 4 pixels, and seeded draws.
struct LightScene {
    LightScene();

    // A shader whose one layer emits.
    int add_emitter(const Vec3& emission, Sideness side, bool virtual_light = true);

    // A square of half width r in a plane of constant z, facing up or down, in a part of its own.
    void add_square(int object, const Vec3& center, float r, bool up, int shader = 0);

    // Phases 1, 3 and 4.
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
