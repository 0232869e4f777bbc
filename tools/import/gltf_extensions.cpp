// The library keeps neither the numbers of materials nor all of their extensions: those of the file
// are found again by what both know.
// SPDX-License-Identifier: MIT
#include "import/gltf_extensions.h"

#include "import/read_scene.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include <assimp/IOStream.hpp>
#include <nlohmann/json.hpp>

namespace mh {

namespace {

using Json = nlohmann::json;

constexpr const char* kStrength = "KHR_materials_emissive_strength";
constexpr const char* kSpecular = "KHR_materials_specular";

// All that something here, or the library, reads.
constexpr std::array kKnown = {
    kStrength, kSpecular, "KHR_draco_mesh_compression", "KHR_lights_punctual",
    "KHR_materials_clearcoat", "KHR_materials_ior", "KHR_materials_pbrSpecularGlossiness",
    "KHR_materials_sheen", "KHR_materials_transmission", "KHR_materials_unlit",
    "KHR_materials_volume", "KHR_mesh_quantization", "KHR_texture_transform",
    // Of glTF 1.
    "KHR_binary_glTF", "KHR_materials_common"};

std::string text_of_file(Assimp::IOSystem& files, const std::string& name) {
    Assimp::IOStream* const file = files.Open(name.c_str(), "rb");
    if (file == nullptr) return {};
    std::string text(file->FileSize(), '\0');
    if (file->Read(text.data(), 1, text.size()) != text.size()) text.clear();
    files.Close(file);
    constexpr std::size_t kHead = 12,
                          kChunkHead = 8; // of binary files; the first chunk is the text
    if (!text.starts_with("glTF") || text.size() < kHead + kChunkHead) return text;
    std::uint32_t length = 0;
    std::memcpy(&length, text.data() + kHead, sizeof length);
    return text.substr(kHead + kChunkHead, length);
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

    bool operator==(const Extras&) const = default;
};

Extras extras_of(const Json& material) {
    const Json& extensions = member(material, "extensions");
    const Json& specular = member(extensions, kSpecular);
    const Vec3 tint = vector_of(member(specular, "specularColorFactor"), {1, 1, 1});
    return {number_of(member(member(extensions, kStrength), "emissiveStrength"), 1.0f),
            number_of(member(specular, "specularFactor"), 1.0f)
                * std::max({tint.x, tint.y, tint.z})};
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

void apply(const Extras& extras, ImportedMaterial& material) {
    const float root = (material.ior - 1.0f) / (material.ior + 1.0f);
    if (std::isfinite(extras.strength) && extras.strength >= 0.0f)
        material.emission = extras.strength * material.emission;
    const bool bends = material.transmission > 0.0f; // light that passes needs the index
    const bool is_sound = std::isfinite(extras.specular) && extras.specular >= 0.0f;
    if (is_sound && extras.specular != 1.0f && !bends)
        material.ior = IorOfReflectance(extras.specular * root * root);
}

void complete(const Json& materials, ImportedScene& scene) {
    for (ImportedMaterial& material : scene.materials) {
        std::vector<Extras> found;
        for (const Json& from : materials)
            if (is_same(from, material)) found.push_back(extras_of(from));
        const bool is_one = std::equal(found.begin() + !found.empty(), found.end(), found.begin());
        if (!found.empty() && is_one) apply(found.front(), material);
        if (!is_one)
            scene.approximated.push_back("material " + material.name
                                         + ": others of its name differ in strength or specular");
    }
}

} // namespace

void ReadGltfExtensions(Assimp::IOSystem& files, const std::string& name, ImportedScene& scene) {
    const Json text = Json::parse(text_of_file(files, name), nullptr, false);
    if (member(text, "materials").is_array()) complete(member(text, "materials"), scene);
    for (const Json& used : member(text, "extensionsUsed")) {
        const std::string extension = used.is_string() ? used.get<std::string>() : "";
        const bool is_known = std::any_of(kKnown.begin(), kKnown.end(),
                                          [&](const char* known) { return extension == known; });
        if (!is_known && !extension.empty())
            scene.dropped.push_back("extension " + extension + ", which is not read");
    }
}

} // namespace mh
