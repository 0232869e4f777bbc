// Small scenes made of records: what the tests of lights and integrators are rendered from.
// SPDX-License-Identifier: MIT
#pragma once

#include "geometry/types.h"
#include "hit/ray.h"
#include "lights/types.h"
#include "output/types.h"
#include "support/fresh_scene.h"
#include "support/replay.h"

#include <array>

namespace mh::test {

// A started library with one object and one camera of 1 by 1 pixel and one frame, no sky, no
// photons, path tracing. Indices into Shaders are handed out by add_shader.
struct Scene {
    Scene();

    FreshScene library;
    SeededDraws draws{1};
};

SurfaceLayer& layer_of(int shader);
ShaderElement& slot(int shader, Element element);

// A lambertian shader of that colour for both sides.
int add_shader(const Vec3& lambertian = {});

// Reflects and passes light by Fresnel, of index 1.5.
int add_glass(Material material = Material::solid);

// Black, and shines from both sides; a lamp shines from one side and is sampled.
int add_emitter(const Vec3& radiance);
int add_lamp(const Vec3& radiance, Sideness side = Sideness::face);

// Square pictures; the same at both ends of the exposure.
void place_camera(int size, const Vec3& position, const Vec3& target, const Vec3& up,
                  float view_deg);

// The front is where the corners run anticlockwise.
void add_quad(const std::array<Vec3, 4>& corners, int shader, std::size_t object = 0);
void add_triangle(const std::array<Vec3, 3>& corners, int shader);

// The six walls of a box as quads; fronts look inwards.
void add_room(const Vec3& low, const Vec3& high, int shader);

// A horizontal rectangle, and a square of that half width about the z axis, front upwards or not.
void add_level(const Vec2& low, const Vec2& high, float z, int shader, bool up = true);
void add_floor(float half_width, float z, int shader, bool up = true);

// A sphere; all of a part's are of one shader.
void add_ball(const Vec3& center, float radius, int shader);

// A straight white fibre along x of radius 0.1, all of a part; absorbs nothing.
int add_fibre(std::size_t object = 0);

// Radiance 1 everywhere. Without light samples there is no image, and bounces alone meet the sky.
void set_white_sky(int samples, int bounces);

// A camera ray from origin towards target, as the pixel loop makes them.
Ray camera_ray(const Vec3& origin, const Vec3& target);

// Its radiance, of one frame.
Vec3 seen_along(const Vec3& origin, const Vec3& target);

// The same by the sequence of a pixel drawn at random, which makes runs independent.
Vec3 seen_by_chance(const Vec3& origin, const Vec3& target);

} // namespace mh::test
