// The ray, which is also the record of its hit. It lives on the stack of the function that spawns
// it, one per bounce.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/constants.h"
#include "math/sequence.h"
#include "math/vec3.h"
#include "shading/surface_point.h"

#include <cstdint>

namespace mh {

struct Part;
struct LightLink;
struct SurfacePoint;

// The bounce that made a ray.
enum class Scatter : std::uint8_t {
    none = 0, // photon on its first segment
    lambertian = 2,
    transmissive = 3,
    glossy_reflection = 4,
    glossy_refraction = 5,
    specular_reflection = 6, // also the camera
    specular_refraction = 7,
};

constexpr bool is_specular(Scatter scatter) {
    return scatter == Scatter::specular_reflection || scatter == Scatter::specular_refraction;
}

// Kind of the primitive in a hit; equal to the values of PrimitiveKind.
enum class HitKind : std::uint8_t {
    none = 0, // primary ray before its hit
    particle = 1,
    hair = 2,
    triangle = 3,
    tetragon = 4,
    unset = 255, // spawned ray before its hit
};

constexpr bool is_face(HitKind kind) {
    return kind == HitKind::triangle || kind == HitKind::tetragon;
}

constexpr std::uint8_t kHairLobeOfDiffuse = 255;

struct Ray {
    SampleCursor cursor;
    Vec3 origin;
    Vec3 direction;         // unit
    Vec3 inverse_direction; // written by the walks
    // Triangle: barycentric weights of the corners. Tetragon: bilinear parameters, 0. Hair:
    // position across in -1..1, undefined, position along the segment. Particle: hit point -
    // centre.
    float hit_a = 0.0f, hit_b = 0.0f, hit_c = 0.0f;
    float distance = kFar;                      // in: limit of the ray; out: distance of the hit
    Vec3 weight = {1.0f, 1.0f, 1.0f};           // throughput; of a shadow query: the transparency
    Vec3 power;                                 // of a photon
    const SurfacePoint* source_point = nullptr; // null at the camera and on a photon's first ray
    const LightLink* photon_link = nullptr;     // of the light, on a photon's first ray only
    const Part* hit_part = nullptr;
    float refraction = 1.0f; // product of the relative indices passed; 1 outside every solid
    std::int32_t sample_divisor = 1; // of all AOV writes
    std::int32_t hit_shader = 0;
    std::int32_t hit_primitive = -1;
    std::int32_t source_shader = -1;    // shader of the surface that sent the ray; light links
    std::int32_t sky_texel = -1;        // of the direction, once it is known
    std::int32_t source_primitive = -1; // with source_kind: the primitive that is not hit again
    HitKind hit_kind = HitKind::none;
    HitKind source_kind = HitKind::none;
    std::uint8_t hair_lobe = 0; // sampled by a hair glossy bounce: 0 R, 1 TT, 2 TRT
    Scatter prior_scatter = Scatter::specular_reflection;
    Scatter scatter = Scatter::specular_reflection;
    Scatter last_spread = Scatter::none; // the last bounce that was not specular
    std::uint8_t thread = 0;             // index into ThreadStates
    std::uint8_t depth = 0;              // bounces of any kind
    std::uint8_t diffuse_bounces = 0;
    std::uint8_t glossy_bounces = 0;
    std::uint8_t specular_bounces = 0;
    std::uint8_t instance_level = 0;     // instances entered by the walk at this moment
    std::uint8_t hit_instance_level = 0; // the same at the closest hit
    bool front_side = false;             // the hit was on the front; always on hair
    bool photon = false;
    bool photon_caustic = false; // the photon may leave caustic photons
    bool hit_in_root = false;    // the hit lies in the root object itself
};

// Bounces that spread light; light sampling and splits count by these.
constexpr int spread_bounces(const Ray& ray) {
    return ray.diffuse_bounces + ray.glossy_bounces;
}

// Whether the ray runs outside every solid: its index equals 1 within 1e-8.
inline bool outside_solids(const Ray& ray) {
    return std::fabs(1.0f - ray.refraction) < kSameIndex;
}

} // namespace mh
