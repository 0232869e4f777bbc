// Materials and pictures. Those of older models are brought to metal and roughness; the formulas
// stand in docs/materials.md.
// SPDX-License-Identifier: MIT
#include "import/read_scene.h"
#include "math/at.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>

#include <assimp/GltfMaterial.h>
#include <assimp/material.h>

namespace mh {

namespace {

struct Reading {
    const aiScene& from;
    const aiMaterial& material;
    ImportedScene& scene;
    std::map<std::string, std::int32_t>& images; // by name
    bool is_gltf;
};

template<typename T>
T value_of(const aiMaterial& material, const char* key, unsigned type, unsigned index, T other) {
    T value;
    return material.Get(key, type, index, value) == aiReturn_SUCCESS ? value : other;
}

bool has(const aiMaterial& material, const char* key, unsigned type, unsigned index) {
    float value = 0.0f;
    return material.Get(key, type, index, value) == aiReturn_SUCCESS;
}

Vec3 color_of(const aiMaterial& material, const char* key, unsigned type, unsigned index,
              const Vec3& other) {
    const aiColor3D c = value_of(material, key, type, index, aiColor3D(other.x, other.y, other.z));
    return {c.r, c.g, c.b};
}

// Pixels that lie open in the file, as a TGA picture of four channels.
std::vector<std::uint8_t> tga_of(const aiTexture& texture) {
    constexpr std::size_t kHead = 18, kTexel = 4;
    std::vector<std::uint8_t> bytes(kHead);
    bytes[2] = 2; // true colour
    for (unsigned i = 0; i < 2; ++i) {
        bytes[12 + i] = static_cast<std::uint8_t>(texture.mWidth >> (8 * i));
        bytes[14 + i] = static_cast<std::uint8_t>(texture.mHeight >> (8 * i));
    }
    bytes[16] = 32;   // bits
    bytes[17] = 0x28; // the top row first, eight bits of alpha
    const auto* const texels = reinterpret_cast<const std::uint8_t*>(texture.pcData);
    bytes.insert(bytes.end(), texels,
                 texels + kTexel * std::size_t{texture.mWidth} * texture.mHeight);
    return bytes;
}

ImportedImage image_of(const aiTexture& texture, const std::string& name) {
    ImportedImage image;
    const std::string given = text_of(texture.mFilename);
    image.name = given.empty() ? "embedded" + (name.starts_with('*') ? name.substr(1) : "") : given;
    if (texture.mHeight > 0) {
        image.name += ".tga";
        image.bytes = tga_of(texture);
        return image;
    }
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(texture.pcData);
    image.bytes.assign(bytes, bytes + texture.mWidth);
    const std::string format = texture.achFormatHint;
    if (!image.name.ends_with("." + format)) image.name += "." + format;
    return image;
}

std::int32_t image_number(Reading& reading, const std::string& name) {
    const auto [place, is_new] =
        reading.images.emplace(name, static_cast<std::int32_t>(reading.scene.images.size()));
    if (!is_new) return place->second;
    const aiTexture* const embedded = reading.from.GetEmbeddedTexture(name.c_str());
    ImportedImage image;
    image.name = name;
    std::replace(image.name.begin(), image.name.end(), '\\', '/');
    reading.scene.images.push_back(embedded != nullptr ? image_of(*embedded, name) : image);
    return place->second;
}

WrapMode wrap_of(aiTextureMapMode mode) {
    if (mode == aiTextureMapMode_Clamp || mode == aiTextureMapMode_Decal) return WrapMode::clamp;
    return mode == aiTextureMapMode_Mirror ? WrapMode::mirror : WrapMode::repeat;
}

// Moved, then turned and scaled about the middle of the picture.
UvMatrix matrix_of(const aiUVTransform& t) {
    const float c = std::cos(t.mRotation), s = std::sin(t.mRotation);
    const float u = t.mTranslation.x - 0.5f, v = t.mTranslation.y - 0.5f;
    const aiVector2D z = t.mScaling;
    return {z.x * c, -z.x * s, z.x * (c * u - s * v) + 0.5f,
            z.y * s, z.y * c,  z.y * (s * u + c * v) + 0.5f};
}

// glTF scales, turns by -r and moves by (x, y) with v downwards. The reader gives
// r = -rotation and the translation of a turn about the middle that is scaled afterwards.
UvMatrix matrix_of_gltf(const aiUVTransform& t) {
    const float c = std::cos(t.mRotation), s = -std::sin(t.mRotation);
    const aiVector2D z = t.mScaling;
    const float x = t.mTranslation.x - 0.5f * z.x * (s - c + 1.0f);
    const float y = 1.0f - z.y - t.mTranslation.y + 0.5f * z.y * (s + c - 1.0f);
    return {c * z.x, -s * z.y, x + s * z.y, s * z.x, c * z.y, 1.0f - y - c * z.y};
}

// False without a picture of that use.
bool read_map(Reading& reading, aiTextureType type, MapKind kind, ImportedMaterial& material) {
    const aiMaterial& from = reading.material;
    aiString path;
    unsigned uv_set = 0;
    aiTextureMapMode modes[3] = {aiTextureMapMode_Wrap, aiTextureMapMode_Wrap,
                                 aiTextureMapMode_Wrap};
    if (from.GetTexture(type, 0, &path, nullptr, &uv_set, nullptr, nullptr, modes)
            != aiReturn_SUCCESS
        || path.length == 0)
        return false;
    ImportedMap& map = at(material.maps, kind);
    map.image = image_number(reading, text_of(path));
    map.uv_set = uv_set;
    map.wrap_u = wrap_of(modes[0]);
    map.wrap_v = wrap_of(modes[1]);
    aiUVTransform transform;
    if (from.Get(AI_MATKEY_UVTRANSFORM(type, 0), transform) == aiReturn_SUCCESS)
        map.uv_matrix = reading.is_gltf ? matrix_of_gltf(transform) : matrix_of(transform);
    return true;
}

void read_maps(Reading& reading, ImportedMaterial& material) {
    if (!read_map(reading, aiTextureType_BASE_COLOR, MapKind::base, material))
        read_map(reading, aiTextureType_DIFFUSE, MapKind::base, material);
    if (!read_map(reading, aiTextureType_UNKNOWN, MapKind::metallic_roughness, material)) {
        read_map(reading, aiTextureType_METALNESS, MapKind::metallic, material);
        read_map(reading, aiTextureType_DIFFUSE_ROUGHNESS, MapKind::roughness, material);
    }
    if (!read_map(reading, aiTextureType_EMISSIVE, MapKind::emission, material))
        read_map(reading, aiTextureType_EMISSION_COLOR, MapKind::emission, material);
    if (!read_map(reading, aiTextureType_NORMALS, MapKind::normal, material))
        read_map(reading, aiTextureType_NORMAL_CAMERA, MapKind::normal, material);
    read_map(reading, aiTextureType_HEIGHT, MapKind::height, material);
    read_map(reading, aiTextureType_OPACITY, MapKind::opacity, material);
    read_map(reading, aiTextureType_TRANSMISSION, MapKind::transmission, material);
    read_map(reading, aiTextureType_CLEARCOAT, MapKind::clearcoat, material);
}

// Specular colour and gloss beside a diffuse colour.
void read_specular_glossiness(const aiMaterial& from, float gloss, ImportedMaterial& material) {
    const Vec3 specular = color_of(from, AI_MATKEY_COLOR_SPECULAR, {1.0f, 1.0f, 1.0f});
    constexpr float kMetal = 0.5f; // reflectance that no dielectric has
    material.roughness = 1.0f - gloss;
    if (max_channel(specular) < kMetal) {
        material.ior = ior_of_reflectance(max_channel(specular));
        return;
    }
    material.base = specular;
    material.metallic = 1.0f;
}

// Exponents of Phong and Blinn: alpha^2 = 2 / (n + 2), [Walter07], and roughness^2 = alpha.
void read_phong(const aiMaterial& from, ImportedMaterial& material) {
    constexpr float kReflectanceOfSpecular = 0.08f; // a specular colour of 0.5 is glass, F0 = 0.04
    const Vec3 specular = color_of(from, AI_MATKEY_COLOR_SPECULAR, {});
    const float exponent = value_of(from, AI_MATKEY_SHININESS, 0.0f);
    const float strength = value_of(from, AI_MATKEY_SHININESS_STRENGTH, 1.0f);
    const float level = max_channel(specular) * strength;
    if (!(exponent > 0.0f) || !(level > 0.0f)) {
        material.ior = 1.0f;
        return;
    }
    material.roughness = std::pow(2.0f / (exponent + 2.0f), 0.25f);
    material.ior = ior_of_reflectance(kReflectanceOfSpecular * std::min(level, 1.0f));
}

void read_surface(const aiMaterial& from, ImportedMaterial& material) {
    material.base = color_of(from, AI_MATKEY_COLOR_DIFFUSE, {0.8f, 0.8f, 0.8f});
    material.base = color_of(from, AI_MATKEY_BASE_COLOR, material.base);
    const bool has_metal = has(from, AI_MATKEY_METALLIC_FACTOR);
    const bool has_roughness = has(from, AI_MATKEY_ROUGHNESS_FACTOR);
    const float gloss = value_of(from, AI_MATKEY_GLOSSINESS_FACTOR, -1.0f);
    if (has_metal || has_roughness) {
        material.metallic = value_of(from, AI_MATKEY_METALLIC_FACTOR, 0.0f);
        material.roughness = value_of(from, AI_MATKEY_ROUGHNESS_FACTOR, 1.0f);
        const float ior = value_of(from, AI_MATKEY_REFRACTI, 1.5f);
        material.ior = ior >= 1.0f ? ior : 1.5f;
    } else if (gloss >= 0.0f) {
        read_specular_glossiness(from, gloss, material);
    } else {
        read_phong(from, material);
    }
}

void read_alpha(Reading& reading, ImportedMaterial& material) {
    const aiMaterial& from = reading.material;
    aiString mode;
    if (from.Get(AI_MATKEY_GLTF_ALPHAMODE, mode) == aiReturn_SUCCESS) {
        const aiColor4D base = value_of(from, AI_MATKEY_BASE_COLOR, aiColor4D(1, 1, 1, 1));
        material.alpha = base.a;
        material.alpha_cutoff = value_of(from, AI_MATKEY_GLTF_ALPHACUTOFF, 0.5f);
        if (text_of(mode) == "MASK") material.alpha_mode = AlphaMode::mask;
        if (text_of(mode) == "BLEND") material.alpha_mode = AlphaMode::blend;
        return;
    }
    material.alpha = value_of(from, AI_MATKEY_OPACITY, 1.0f);
    const bool has_map = at(material.maps, MapKind::opacity).image >= 0;
    if (!(material.alpha > 0.0f)) { // exporters that write the reverse of it are common
        reading.scene.approximated.push_back("opacity 0 of material " + material.name
                                             + " is taken for 1");
        material.alpha = 1.0f;
    }
    if (material.alpha < 1.0f || has_map) material.alpha_mode = AlphaMode::blend;
}

void read_transmission(const aiMaterial& from, ImportedMaterial& material) {
    material.transmission = value_of(from, AI_MATKEY_TRANSMISSION_FACTOR, 0.0f);
    material.thickness = value_of(from, AI_MATKEY_VOLUME_THICKNESS_FACTOR, 0.0f);
    const float distance = value_of(from, AI_MATKEY_VOLUME_ATTENUATION_DISTANCE, 0.0f);
    material.attenuation_distance = std::isfinite(distance) ? distance : 0.0f;
    material.attenuation_color = color_of(from, AI_MATKEY_VOLUME_ATTENUATION_COLOR, {1, 1, 1});
}

void read_layers(const aiMaterial& from, ImportedMaterial& material) {
    material.emission = color_of(from, AI_MATKEY_COLOR_EMISSIVE, {});
    const float strength = value_of(from, AI_MATKEY_EMISSIVE_INTENSITY, 1.0f);
    material.emission = material.emission * strength;
    const auto emission = static_cast<std::size_t>(MapKind::emission);
    if (material.maps[emission].image >= 0 && max_channel(material.emission) == 0.0f
        && !has(from, AI_MATKEY_METALLIC_FACTOR))
        material.emission = {1.0f, 1.0f, 1.0f}; // older models give the picture alone
    material.normal_scale =
        value_of(from, AI_MATKEY_GLTF_TEXTURE_SCALE(aiTextureType_NORMALS, 0), 1.0f);
    material.clearcoat = value_of(from, AI_MATKEY_CLEARCOAT_FACTOR, 0.0f);
    material.clearcoat_roughness = value_of(from, AI_MATKEY_CLEARCOAT_ROUGHNESS_FACTOR, 0.0f);
    material.sheen = color_of(from, AI_MATKEY_SHEEN_COLOR_FACTOR, {});
    material.sheen_roughness = value_of(from, AI_MATKEY_SHEEN_ROUGHNESS_FACTOR, 0.0f);
    bool unlit = false;
    material.unlit = from.Get("$mat.gltf.unlit", 0, 0, unlit) == aiReturn_SUCCESS && unlit ? 1 : 0;
}

// Shadows that others bake; here they are traced.
bool has_occlusion(const aiMaterial& from) {
    return from.GetTextureCount(aiTextureType_AMBIENT_OCCLUSION) > 0
           || from.GetTextureCount(aiTextureType_LIGHTMAP) > 0;
}

} // namespace

void ReadMaterials(const aiScene& from, bool is_gltf, ImportedScene& scene) {
    std::map<std::string, std::int32_t> images;
    for (unsigned i = 0; i < from.mNumMaterials; ++i) {
        Reading reading = {from, *from.mMaterials[i], scene, images, is_gltf};
        ImportedMaterial material;
        aiString name;
        if (reading.material.Get(AI_MATKEY_NAME, name) == aiReturn_SUCCESS)
            material.name = text_of(name);
        read_maps(reading, material);
        read_surface(reading.material, material);
        read_alpha(reading, material);
        read_transmission(reading.material, material);
        read_layers(reading.material, material);
        if (has_occlusion(reading.material))
            scene.dropped.push_back("occlusion picture of material " + material.name);
        scene.materials.push_back(material);
    }
}

} // namespace mh
