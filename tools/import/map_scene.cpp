// Names, numbers and the list of files.
// SPDX-License-Identifier: MIT
#include "import/map_scene.h"

#include <algorithm>
#include <charconv>

namespace mh {

namespace {

constexpr const char* kRender = "# Paths, with the estimator that has no known bias.\n"
                                "render\n"
                                "    estimator \"exact\"\n"
                                "    final_gather\n"
                                "        distance 0\n"
                                "        bounce 6\n"
                                "        ray_depth 16\n"
                                "        sample 64\n"
                                "    end\n"
                                "end\n";

} // namespace

std::string NumberText(double value) {
    char digits[32] = {};
    const auto end = std::to_chars(digits, digits + sizeof digits, static_cast<float>(value)).ptr;
    return std::string(digits, end);
}

std::string NumberText(const Vec3& v) {
    return NumberText(v.x) + ' ' + NumberText(v.y) + ' ' + NumberText(v.z);
}

std::string UniqueName(Names& names, const std::string& wanted, const std::string& other) {
    constexpr std::size_t kLongest = 64;
    std::string safe = wanted.substr(0, kLongest);
    for (char& c : safe) {
        const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
        if (!letter && !(c >= '0' && c <= '9') && c != '-' && c != '_' && c != '.') c = '_';
    }
    if (safe.find_first_not_of("_.") == safe.npos) safe = other;
    if (safe.front() == '.') safe.front() = '_';
    for (std::string name = safe;; name = safe + '_' + std::to_string(++names.taken[safe]))
        if (names.taken.emplace(name, 1).second) return name;
}

MappedScene MapScene(const ImportedScene& scene, const MapOptions& options) {
    MappedScene mapped;
    mapped.approximated = scene.approximated;
    mapped.dropped = scene.dropped;
    const Placed placed = PlaceNodes(scene);
    const MaterialText materials = MapMaterials(scene, mapped);
    mapped.texts.push_back({"shader/materials.mh", materials.blocks});
    mapped.texts.push_back({"render/render.mh", kRender});
    mapped.has_light = !scene.lights.empty() || !options.studio;
    mapped.texts.push_back(
        {"light/lights.mh", MapLights(scene, placed, materials.emissive, mapped)});
    mapped.texts.push_back({kCameraFile, MapCameras(scene, placed, mapped)});
    mapped.texts.push_back({"geometry/objects.mh", MapObjects(scene, placed, materials, mapped)});
    return mapped;
}

} // namespace mh
