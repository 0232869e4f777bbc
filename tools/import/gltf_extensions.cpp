// The library keeps neither the numbers of materials nor all of their extensions: those of the file
// are found again by what both know.
// SPDX-License-Identifier: MIT
#include "import/gltf_extensions.h"

#include "math/at.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include <nlohmann/json.hpp>

namespace mh {

namespace {

using Json = nlohmann::json;

constexpr const char* kStrength = "KHR_materials_emissive_strength";
constexpr const char* kSpecular = "KHR_materials_specular";
constexpr const char* kTransmission = "KHR_materials_transmission";
constexpr const char* kTransform = "KHR_texture_transform";

// All that something here, or the library, reads.
constexpr std::array kKnown = {kStrength, kSpecular, "KHR_draco_mesh_compression",
                               "KHR_lights_punctual", "KHR_materials_clearcoat",
                               "KHR_materials_ior", "KHR_materials_pbrSpecularGlossiness",
                               "KHR_materials_sheen", kTransmission, "KHR_materials_unlit",
                               "KHR_materials_volume", "KHR_mesh_quantization", kTransform,
                               // Of glTF 1.
                               "KHR_binary_glTF", "KHR_materials_common"};

// Pictures of these extensions that become maps.
constexpr std::array kKnownPictures = {"transmissionTexture", "clearcoatTexture", "diffuseTexture"};

template<typename Names>
bool is_among(const Names& names, const std::string& name) {
    return std::any_of(names.begin(), names.end(), [&](const char* n) { return name == n; });
}

// Binary files begin with a head of 12 bytes; their first chunk is the text.
std::string_view text_of(std::string_view content) {
    constexpr std::size_t kHead = 12, kChunkHead = 8;
    if (!content.starts_with("glTF") || content.size() < kHead + kChunkHead) return content;
    std::uint32_t length = 0;
    std::memcpy(&length, content.data() + kHead, sizeof length);
    return content.substr(kHead + kChunkHead, length);
}

const Json& member(const Json& from, const char* key) {
    static const Json none;
    const auto found = from.is_object() ? from.find(key) : from.end();
    return from.is_object() && found != from.end() ? *found : none;
}

float number_of(const Json& from, float other) {
    return from.is_number() ? from.get<float>() : other;
}

Vec3 vector_of(const Json& from, const Vec3& other) {
    if (!from.is_array() || from.size() < 3) return other;
    return {number_of(from[0], other.x), number_of(from[1], other.y), number_of(from[2], other.z)};
}

struct Extras {
    float strength = 1.0f, specular = 1.0f;
    std::array<std::int32_t, kMapKinds> uv_sets = {}; // -1: what the map says
    std::vector<std::string> lost;                    // pictures

    bool operator==(const Extras&) const = default;
};

std::int32_t uv_set_of(const Json& texture) {
    constexpr std::uint64_t kMost = 1000;
    const Json& set = member(member(member(texture, "extensions"), kTransform), "texCoord");
    return set.is_number_unsigned()
               ? static_cast<std::int32_t>(std::min(set.get<std::uint64_t>(), kMost))
               : -1;
}

void read_uv_sets(const Json& material, Extras& extras) {
    extras.uv_sets.fill(-1);
    const Json& surface = member(material, "pbrMetallicRoughness");
    const Json& glass = member(member(material, "extensions"), kTransmission);
    const std::pair<MapKind, const Json&> textures[] = {
        {MapKind::base, member(surface, "baseColorTexture")},
        {MapKind::metallic_roughness, member(surface, "metallicRoughnessTexture")},
        {MapKind::emission, member(material, "emissiveTexture")},
        {MapKind::normal, member(material, "normalTexture")},
        {MapKind::transmission, member(glass, "transmissionTexture")}};
    for (const auto& [kind, texture] : textures)
        at(extras.uv_sets, kind) = uv_set_of(texture);
}

std::vector<std::string> lost_pictures(const Json& extensions) {
    std::vector<std::string> lost;
    for (const char* const known : kKnown) {
        const Json& extension = member(extensions, known);
        if (!extension.is_object()) continue;
        for (const auto& [key, value] : extension.items())
            if (key.ends_with("Texture") && !is_among(kKnownPictures, key)) lost.push_back(key);
    }
    return lost;
}

Extras extras_of(const Json& material) {
    const Json& extensions = member(material, "extensions");
    const Json& specular = member(extensions, kSpecular);
    const Vec3 tint = vector_of(member(specular, "specularColorFactor"), {1, 1, 1});
    Extras extras;
    extras.strength = number_of(member(member(extensions, kStrength), "emissiveStrength"), 1.0f);
    extras.specular =
        number_of(member(specular, "specularFactor"), 1.0f) * std::max({tint.x, tint.y, tint.z});
    read_uv_sets(material, extras);
    extras.lost = lost_pictures(extensions);
    return extras;
}

bool is_near(float a, float b) {
    constexpr float kRounding = 1e-5f;
    return std::fabs(a - b) <= kRounding;
}

bool is_near(const Vec3& a, const Vec3& b) {
    return is_near(a.x, b.x) && is_near(a.y, b.y) && is_near(a.z, b.z);
}

bool is_same(const Json& from, const ImportedMaterial& material) {
    const Json& name = member(from, "name");
    const Json& surface = member(from, "pbrMetallicRoughness");
    return (name.is_string() ? name.get<std::string>() : "") == material.name
           && is_near(vector_of(member(surface, "baseColorFactor"), {1, 1, 1}), material.base)
           && is_near(vector_of(member(from, "emissiveFactor"), {}), material.emission)
           && is_near(number_of(member(surface, "metallicFactor"), 1.0f), material.metallic)
           && is_near(number_of(member(surface, "roughnessFactor"), 1.0f), material.roughness);
}

void apply(const Extras& extras, ImportedMaterial& material, std::vector<std::string>& dropped) {
    const float root = (material.ior - 1.0f) / (material.ior + 1.0f);
    if (std::isfinite(extras.strength) && extras.strength >= 0.0f)
        material.emission = extras.strength * material.emission;
    const bool bends = material.transmission > 0.0f; // light that passes needs the index
    const bool is_sound = std::isfinite(extras.specular) && extras.specular >= 0.0f;
    if (is_sound && extras.specular != 1.0f && !bends)
        material.ior = ior_of_reflectance(extras.specular * root * root);
    for (std::size_t kind = 0; kind < kMapKinds; ++kind)
        if (extras.uv_sets[kind] >= 0)
            material.maps[kind].uv_set = static_cast<std::uint32_t>(extras.uv_sets[kind]);
    for (const std::string& picture : extras.lost)
        dropped.push_back(picture + " of material " + material.name);
}

void complete(const Json& materials, ImportedScene& scene) {
    for (ImportedMaterial& material : scene.materials) {
        std::vector<Extras> found;
        for (const Json& from : materials)
            if (is_same(from, material)) found.push_back(extras_of(from));
        const bool is_one = std::equal(found.begin() + !found.empty(), found.end(), found.begin());
        if (!found.empty() && is_one) apply(found.front(), material, scene.dropped);
        if (!is_one)
            scene.approximated.push_back("material " + material.name
                                         + ": others of its name differ in their extensions");
    }
}

} // namespace

void ReadGltfExtensions(std::string_view content, ImportedScene& scene) {
    const Json text = Json::parse(text_of(content), nullptr, false);
    if (member(text, "materials").is_array()) complete(member(text, "materials"), scene);
    for (const Json& used : member(text, "extensionsUsed")) {
        const std::string extension = used.is_string() ? used.get<std::string>() : "";
        if (!extension.empty() && !is_among(kKnown, extension))
            scene.dropped.push_back("extension " + extension + ", which is not read");
    }
}

} // namespace mh
