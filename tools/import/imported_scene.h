// What a file of another program holds, in records of our own: filled by the helper program
// moonhare-import, mapped to a scene directory by the program.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/vec3.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

namespace mh {

using Matrix = std::array<double, 16>; // by rows; the translation is the last column
using UvMatrix = std::array<float, 6>; // two rows

// A picture: a file beside the imported one, or bytes that came inside of it.
struct ImportedImage {
    std::string name; // path below the folder of the file; of embedded bytes any name
    std::vector<std::uint8_t> bytes;
};

enum class MapKind : std::uint8_t {
    base,
    metallic_roughness, // roughness in green, metallic in blue
    metallic,
    roughness,
    emission,
    normal,
    height,
    opacity,
    transmission,
    clearcoat,
    count
};
constexpr std::size_t kMapKinds = static_cast<std::size_t>(MapKind::count);

enum class WrapMode : std::uint32_t { repeat, clamp, mirror };

struct ImportedMap {
    std::int32_t image = -1; // of the scene's images; -1 for none
    std::uint32_t uv_set = 0;
    WrapMode wrap_u = WrapMode::repeat, wrap_v = WrapMode::repeat;
    UvMatrix uv_matrix = {1, 0, 0, 0, 1, 0}; // of the coordinates
    bool linear = false; // of colours: texels are not coded as in sRGB; set by the program alone
};

enum class AlphaMode : std::uint32_t { opaque, mask, blend };

// Parameters of glTF; those of older models are brought to them by the helper.
struct ImportedMaterial {
    std::string name;
    Vec3 base = {1.0f, 1.0f, 1.0f};
    float alpha = 1.0f, alpha_cutoff = 0.5f;
    AlphaMode alpha_mode = AlphaMode::opaque;
    float metallic = 0.0f, roughness = 1.0f;
    float ior = 1.5f; // 1: no reflection
    float transmission = 0.0f, thickness = 0.0f;
    float attenuation_distance = 0.0f; // 0: clear
    Vec3 attenuation_color = {1.0f, 1.0f, 1.0f};
    Vec3 emission;
    float normal_scale = 1.0f;
    float clearcoat = 0.0f, clearcoat_roughness = 0.0f;
    Vec3 sheen;
    float sheen_roughness = 0.0f;
    std::uint32_t unlit = 0; // 1: the base colour is shown as it stands
    std::array<ImportedMap, kMapKinds> maps;
};

// Index of a dielectric that reflects f0 straight on.
inline float ior_of_reflectance(float f0) {
    constexpr float kLargest = 0.9f;
    const float root = std::sqrt(std::clamp(f0, 0.0f, kLargest));
    return (1.0f + root) / (1.0f - root);
}

struct ImportedMesh {
    std::string name;
    std::uint32_t material = 0;
    std::vector<Vec3> positions, normals; // no normals: flat faces
    std::vector<std::vector<Vec2>> uv_sets;
    std::vector<Vec3> colors; // of vertices, linear
    std::vector<std::array<std::uint32_t, 3>> triangles;
};

// Parents come before their children.
struct ImportedNode {
    std::string name;
    std::int32_t parent = -1;
    Matrix matrix = {}; // to the parent's space
    std::vector<std::uint32_t> meshes;
};

enum class LightKind : std::uint32_t { point, spot, directional, unknown };

struct ImportedLight {
    std::string name;
    std::int32_t node = -1;
    LightKind kind = LightKind::point;
    Vec3 color; // candela, or lux of directional lights
    Vec3 position, direction = {0.0f, 0.0f, -1.0f};
    float inner_rad = 0.0f, outer_rad = 0.0f; // from the axis
};

struct ImportedCamera {
    std::string name;
    std::int32_t node = -1;
    Vec3 position, look = {0.0f, 0.0f, -1.0f}, up = {0.0f, 1.0f, 0.0f};
    float fov_rad = 0.0f; // horizontal, or vertical where aspect is 0
    float aspect = 0.0f;  // width over height; 0 where the file leaves it open
};

struct ImportedScene {
    std::string format;      // name of the reader
    std::uint32_t up = 1;    // axis that points up: 0 x, 1 y, 2 z
    double unit_m = 1.0;     // length of a unit in metres
    double duration_s = 0.0; // of the longest animation
    std::vector<ImportedImage> images;
    std::vector<ImportedMaterial> materials;
    std::vector<ImportedMesh> meshes;
    std::vector<ImportedNode> nodes;
    std::vector<ImportedLight> lights;
    std::vector<ImportedCamera> cameras;
    std::vector<std::string> approximated, dropped; // lines of the helper
};

} // namespace mh
