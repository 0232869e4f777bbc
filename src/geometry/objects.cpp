// Creation of objects, parts and instances, and the search for the files that they name.
// SPDX-License-Identifier: MIT
#include "geometry/objects.h"

#include "geometry/state.h"

#include <algorithm>
#include <filesystem>

namespace mh {

namespace {

bool is_file(const std::string& path) {
    std::error_code ignored;
    return std::filesystem::is_regular_file(path, ignored);
}

// The first candidate that exists, or nothing.
std::string search(const std::string& name) {
    for (const std::string& folder : GeometrySearchPaths) {
        std::string candidate = folder.empty() ? name : folder + "/" + name;
        if (is_file(candidate)) return candidate;
    }
    return is_file(name) ? name : std::string();
}

} // namespace

int AddObject() {
    Objects.emplace_back();
    return static_cast<int>(Objects.size()) - 1;
}

int AddPart(Object& object) {
    Part& part = object.parts.emplace_back();
    part.scalar_arrays.push_back({"radius", {}});
    part.vec2_arrays.push_back({"uv", {}});
    return static_cast<int>(object.parts.size()) - 1;
}

int AddInstance(Object& object) {
    object.instances.emplace_back();
    return static_cast<int>(object.instances.size()) - 1;
}

void AppendHalves(Part& part, const Tetragon& face) {
    const auto& v = face.vertex;
    part.triangles.push_back({{v[0], v[1], v[2]}, face.shader});
    part.triangles.push_back({{v[2], v[3], v[0]}, face.shader});
}

std::string FindGeometryFile(const std::string& name) {
    if (std::string found = search(name); !found.empty()) return found;
    std::string slashed = name; // scenes made on systems that part folders with backslashes
    std::replace(slashed.begin(), slashed.end(), '\\', '/');
    if (std::string found = search(slashed); !found.empty()) return found;
    return name;
}

} // namespace mh
