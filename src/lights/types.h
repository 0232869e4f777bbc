// The four kinds of light.
// SPDX-License-Identifier: MIT
#pragma once

#include "hit/ray.h"
#include "math/box.h"
#include "math/constants.h"
#include "math/discrete_sampler.h"
#include "math/matrix.h"
#include "math/rgbe.h"
#include "math/vec3.h"
#include "output/types.h"
#include "shading/types.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace mh {

struct Part;
struct Ray;

// Shaders that a light reaches; no indices, once the names are resolved, means all of them.
struct LightLink {
    std::vector<std::string> names;    // of scene files
    std::vector<std::int32_t> shaders; // of hosts; once resolved those of the names too, sorted
};

// The base of the analytic lights.
struct Light {
    virtual ~Light() = default;
    virtual void reset() = 0; // sets the defaults
    // First ray of photon number `index` (origin, direction, power and all other fields).
    virtual void emit_photon(Ray& ray, std::int64_t index) const = 0;

    Vec3 tangent = {1.0f, 0.0f, 0.0f}, bitangent = {0.0f, 1.0f, 0.0f}, axis = {0.0f, 0.0f, 1.0f};
    Vec3 color = {1.0f, 1.0f, 1.0f};
    Vec3 photon_power; // flux / pi of all photons, derived
    std::int64_t photons = 0;
    float blur = 0.0f; // degrees for a parallel light, a radius for a point light
    float ior = 1.0f;  // starting refraction of its photons
    std::int32_t sample = 1;
    LightLink link;
    std::vector<Aov> aov_list;
    float cos_blur = 1.0f;           // derived: the cone of blur, or of the scene from outside
    float one_minus_cos_blur = 0.0f; // derived without cancellation
    float offset = 0.1f;             // wrap of the lambertian term
};

struct ParallelLight final : Light {
    void reset() override;
    void emit_photon(Ray& ray, std::int64_t index) const override;
};

// Of a spot between its cones: linear in the angle, a smoothstep of the cosine, or that times the
// cosine, as of a flat lamp.
enum class Falloff : std::uint8_t { linear, smooth, cosine };

struct PointLight final : Light {
    void reset() override;
    void emit_photon(Ray& ray, std::int64_t index) const override;

    bool inside_scene = false; // derived
    Vec3 position;
    Vec3 direction = {0.0f, 1.0f, 0.0f};            // axis of the spot cone
    float inner_rad = 0.0f, outer_rad = kPi;        // derived
    float inner_angle = 0.0f, outer_angle = 180.0f; // degrees
    float inner_cos = 1.0f, outer_cos = -1.0f;      // derived
    Falloff falloff = Falloff::linear;
};

constexpr int kSkyFaces = 6;
constexpr int kSkyFaceSize = kSmallTables ? 8 : 256; // texels along an edge
constexpr int kSkyTexels = kSkyFaces * kSkyFaceSize * kSkyFaceSize;

// What light samples read of a texel of the sky's map, side by side.
struct SkySample {
    Vec3 radiance;      // full-resolution, at the texel's sampled corner
    float share = 0.0f; // probability of being picked
};

// Texel of the sky of the exact estimator.
struct SkyTexel {
    Vec3 radiance;        // mean over its solid angle
    float density = 0.0f; // of samples, per area of the cube from -1 to 1
};

// Texels side by side in a row of the map, next to what chooses among them: a look-up waits for one
// place of memory alone.
constexpr int kSkyBlock = kSmallTables ? 4 : 16;

struct alignas(64) SkyBlock {
    std::array<float, kSkyBlock> shares = {}; // of the row up to and with each texel
    std::array<SkyTexel, kSkyBlock> texels;
};

constexpr std::size_t kSkyRowBlocks = std::size_t{kSkyFaceSize} / kSkyBlock;

// A row of texels and a block in it, which a point of the unit square chooses.
struct SkyPlace {
    Vec2 uv;
    std::int32_t row = 0, block = 0;
};

// The place of the next sample of the hit that a thread is at; path 0: of none.
struct alignas(64) ExpectedSkySample {
    SkyPlace place;
    std::uint32_t path = 0, number = 0; // of the cursor that draws it
};

// The sky of the exact estimator, filtered, and what samples are drawn from: first a row of texels
// of all faces, then a block in it, then a texel.
struct SkyDistribution {
    std::vector<SkyBlock> blocks; // of the texels of the map; empty without an image
    DiscreteSampler rows;
    std::vector<std::array<float, kSkyRowBlocks>> row_shares; // up to and with each block
    std::array<ExpectedSkySample, kMaxThreads> expected;
};

// Light around the scene at infinite distance: an image or a colour.
struct SkyLightRecord {
    ShaderElement sampler;                          // look-up settings of the image
    Image image;                                    // latitude-longitude
    Image backdrop;                                 // screen space, seen by camera rays only
    std::array<std::vector<Rgbe>, kSkyFaces> faces; // the map; empty without an image
    DiscreteSampler sky_table;                      // over the texels of the map
    std::vector<SkySample> sky_samples;             // one per texel
    SkyDistribution distribution;                   // exact estimator, in place of the three above
    Mat3 to_sky;                                    // rows: east, north, up
    Mat3 from_sky;                                  // inverse
    Vec3 north = {0.0f, 1.0f, 0.0f};
    Vec3 zenith = {0.0f, 0.0f, 1.0f};
    float rotation_deg = 0.0f; // about the zenith, counter-clockwise as seen from above
    Vec3 color = {0.75f, 0.75f, 0.75f};
    std::int32_t sample = 64;
    std::int32_t photons = 1000000;
    Vec3 photon_power; // derived
    Medium medium;     // fills all space
    LightLink link;
    std::vector<Aov> aov_list;
    float turbidity = 9.0f, albedo = 0.2f, stretch = 0.1f, thickness = 1000.0f; // stored only
    float ior = 1.0f; // starting refraction of its photons
};

constexpr int kLightSamples = kSmallTables ? 97 : 18481; // prime: no step with regular geometry

// What the samples on one side of an emitting face share; where a texture emits, each has its own.
struct LightFace {
    Vec3 normal;   // negated for a side at the back
    Vec3 emission; // summed over the layers of the side, times area / pi
    float primitive_area = 0.0f;
    std::int32_t primitive = 0;
    std::int32_t shader = 0;
    HitKind kind = {}; // triangle or tetragon
    bool front = false;
    float share = 0.0f; // probability of each sample of being picked
};

// A point of the emissive area. Picks are scattered over the table, which small records keep in the
// cache.
struct LightSample {
    Vec3 position;
    std::int32_t face = 0; // in GeometryLightRecord::faces
};

// A face that emits, on one of its sides, in the scene.
struct Lamp {
    Vec3 corner, edge_u, edge_v; // of a triangle, or of a parallelogram
    Vec3 normal;                 // unit, of the side that emits
    Vec3 emission;               // radiance; the mean over the face where an image emits
    float area = 0.0f;
    Vec3 middle;             // of the parallelogram, also for a triangle
    float far_square = 0.0f; // of the distance from it beyond which the lamp looks small
    Vec3 along_u, along_v;   // unit, of the edges
    float length_u = 0.0f, length_v = 0.0f;
    const Part* part = nullptr;
    std::uint32_t primitive = 0;
    std::uint32_t shader = 0;
    bool triangle = true;
    bool rectangle = false;
    bool front = true;    // which side emits
    bool sampled = false; // some layer is a virtual light
    bool even = false;    // the emission is that of every point and direction
};

// Lamps under one another: up to eight children side by side, each a lamp or a further node, with
// bounds of where their lamps are, where they shine and how much. Lanes that are not used have no
// power and a ball that holds every point.
struct LampNode {
    using Lanes = std::array<float, 8>;
    alignas(16) std::array<Lanes, 3> center{}; // of the box
    std::array<Lanes, 3> axis{};               // middle of the normals
    Lanes radius_square{};                     // of the ball around the box
    Lanes power{};                             // emission times area, over all lamps
    Lanes near_power{};                        // that by the square of the radius: from within
    // Of the largest angle between the axis and a normal. Beyond a quarter of a turn some lamp may
    // face any point: then -1 and 0.
    Lanes cos_spread{}, sin_spread{};
    std::array<std::int32_t, 8> child{}; // in LampSet::lamps; below 0 a node, -child in the tree
    std::array<Aabb, 8> box;
    std::int32_t children = 0;
};

// All emitting faces, as the exact estimator draws from them.
struct LampSet {
    std::vector<Lamp> lamps;
    std::vector<LampNode> tree; // over those that light samples may find; the root at 0
    std::int32_t sampled = 0;   // how many these are
    DiscreteSampler by_power;   // for photons
};

// All emissive surfaces of the scene as one light.
struct GeometryLightRecord {
    std::int32_t sample = 0; // 0 turns direct sampling off
    std::int32_t photons = 1000000;
    float area = 0.0f;                      // emissive area of the root object
    Vec3 photon_power = {1.0f, 1.0f, 1.0f}; // emissive area / photons, derived
    std::vector<LightSample> samples;
    std::vector<LightFace> faces; // the first is that of samples where nothing is emitted
    DiscreteSampler table;
    LampSet lamps; // exact estimator, in place of the three above
    LightLink link;
    std::vector<Aov> aov_list;
};

} // namespace mh
