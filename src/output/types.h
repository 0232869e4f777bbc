// Cameras, their poses, the images they and the lights write, and what goes into these.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/matrix.h"
#include "math/vec3.h"
#include "shading/types.h"

#include <array>
#include <bit>
#include <cstdint>
#include <string>
#include <vector>

namespace mh {

// What an AOV holds; bits that hosts and scene files combine with beauty, which stays set.
enum class Channel : std::uint32_t {
    beauty = 1,
    light_path = 2,
    lambertian = 4,
    lambertian_color = 8,
    transmissive = 16,
    transmissive_color = 32,
    glossy = 64,
    glossy_color = 128,
    specular = 256,
    specular_color = 512,
    emissive = 1024,
    normal = 2048,
    tangent = 4096,
    position = 8192,
    depth = 16384,
    primvar = 32768, // the per-vertex array that user_data names
    // Means over the frames of a pixel, in the planes of output/feature_planes.h.
    noise = 65536,
    feature_albedo = 131072,
    feature_normal = 262144,
    feature_depth = 524288,
    all_light = 1048576, // of a light: all of it that reaches the picture
};

constexpr std::size_t kChannels = std::bit_width(static_cast<std::uint32_t>(Channel::all_light));

// Which planes of output/feature_planes.h are kept; each with all before it.
enum class PlaneNeed : std::uint8_t { none, noise, features };

constexpr std::int32_t kAnyShader = -1; // of Aov::shader

// An output image with a rule for what goes into it.
struct Aov {
    std::string user_data = "undefined"; // name of the per-vertex array of a primvar AOV
    Image image;                         // its path is the file name
    std::string shader_name;             // filter of a geometry light's AOV; empty for any shader
    std::int32_t shader = kAnyShader;    // resolved filter
    std::uint32_t channel = 1;           // bits of Channel
};

// Whether the AOV holds this channel: writers compare all bits but beauty's.
constexpr bool holds(const Aov& aov, Channel channel) {
    return (aov.channel & ~1u) == static_cast<std::uint32_t>(channel);
}

// Light that has arrived for each layer, weighted by Fresnel and the layer's geometry, before the
// layer's colour.
struct LightSplit {
    Vec3 to_lambertian, to_transmissive, to_glossy, to_specular;
};

inline LightSplit& operator+=(LightSplit& a, const LightSplit& b) {
    a.to_lambertian += b.to_lambertian;
    a.to_transmissive += b.to_transmissive;
    a.to_glossy += b.to_glossy;
    a.to_specular += b.to_specular;
    return a;
}

enum class Projection : std::uint8_t { pinhole = 0, spherical = 1 };
enum class AngleMeasure : std::uint8_t { degrees = 0, radians = 1 };

struct CameraPose {
    // Derived: an orthonormal frame.
    Vec3 right, forward, up;
    Mat3 matrix = {{{0, 0, 0}, {0, 0, 0}, {0, 0, 0}}}; // columns right, forward, up
    float image_distance = 0.0f;                       // of the image plane, in pixels
    float focus_distance = 0.0f;                       // target - position; no ray depends on it

    // Given.
    Vec3 position, target, up_vector = {0.0f, 0.0f, 1.0f};
    float bokeh = 0.0f;          // no ray depends on it
    float field_of_view = 45.0f; // horizontal, degrees
};

// Columns x0 to x1 - 1 and rows y0 to y1 - 1 of a picture.
struct PixelRegion {
    std::int32_t x0 = 0, y0 = 0, x1 = 0, y1 = 0;

    bool operator==(const PixelRegion&) const = default;
};

// A default camera is made by ResetCamera, which gives it its beauty AOV.
struct Camera {
    float inverse_sample = 0.0f; // derived
    bool moving = false;         // derived: the poses differ
    std::vector<Aov> aovs;       // the first is the beauty image
    Projection projection = Projection::pinhole;
    AngleMeasure angle_measure = AngleMeasure::degrees; // stored only
    std::int32_t pose_index = 0;                        // the pose that the setters write to
    std::array<CameraPose, 2> poses;                    // start and end of the run
    std::string name;
    Vec3 exposure = {1.0f, 1.0f, 1.0f};                    // stored only
    std::int32_t pose_count = 0;                           // read so far from a scene file
    std::int32_t width = 960, height = 540;                // pixels
    std::int32_t sample = 17;                              // frames, 1..65535 once initialised
    std::int32_t region_x0 = 0, region_y0 = 0;             // first column and row rendered
    std::int32_t region_x1 = 1048576, region_y1 = 1048576; // one behind the last
    float ior = 1.0f; // of the medium in which primary rays start
};

} // namespace mh
