// From an imported scene to the files of a scene directory; no file is touched here.
// SPDX-License-Identifier: MIT
#pragma once

#include "import/imported_scene.h"

#include <map>
#include <string>
#include <vector>

namespace mh {

struct TextFile {
    std::string path, text; // path below the scene directory
};

using Linear = std::array<double, 9>; // by rows

// A mesh file: a mesh, its vertices stretched where its instances may only turn and move it.
struct MeshFile {
    std::string path;
    std::uint32_t mesh = 0;
    bool stretched = false;
    Linear stretch = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    std::int32_t uv_set = -1; // -1: none is needed
};

// A factor of a grey image: a channel of a picture times a scale, or 1 where that reaches the
// threshold and 0 elsewhere.
struct GreyTerm {
    std::int32_t image = -1;
    std::uint32_t channel = 0; // 3 is alpha, 1 in pictures without
    float scale = 1.0f;
    float threshold = -1.0f; // below 0: none
    bool reversed = false;   // 1 minus it
};

struct PictureFile {
    std::string path;
    std::int32_t copy_of = -1;      // picture of the scene; -1: made of the terms
    std::vector<GreyTerm> terms;    // multiplied
    bool normals_of_height = false; // a normal map of the first term's heights
};

struct MapOptions {
    bool studio = true; // light where the file has none
};

// A box; low above high for nothing.
struct Extent {
    Vec3 low = {1.0f, 1.0f, 1.0f}, high = {-1.0f, -1.0f, -1.0f};
};

struct MappedScene {
    std::vector<TextFile> texts;
    std::vector<MeshFile> meshes;
    std::vector<PictureFile> pictures;
    std::vector<std::string> approximated, dropped;
    std::size_t instances = 0, lamps = 0;
    bool has_camera = false, has_light = false; // of the file's own
    Extent seen;                                // by the added camera, along its axes
};

MappedScene MapScene(const ImportedScene& scene, const MapOptions& options);

// Names made of letters, digits and "_-." alone, each once.
struct Names {
    std::map<std::string, int> taken;
};

std::string UniqueName(Names& names, const std::string& wanted, const std::string& other);

// Shader blocks of all materials, by the name of each; adds the pictures that they need.
struct MaterialText {
    std::string blocks;
    std::vector<std::string> names;
    std::vector<std::int32_t> uv_sets; // that the maps of each material use; -1 for none
    std::size_t emissive = 0;
};

MaterialText MapMaterials(const ImportedScene& scene, MappedScene& mapped);

// Nodes.
struct Placed {
    std::vector<Matrix> nodes; // to the world, which has z up and metres
};

Placed PlaceNodes(const ImportedScene& scene);
std::string MapObjects(const ImportedScene& scene, const Placed& placed,
                       const MaterialText& materials, MappedScene& mapped);

// All that is placed, along the rows of a matrix.
Extent ExtentOf(const ImportedScene& scene, const Placed& placed,
                const Linear& axes = {1, 0, 0, 0, 1, 0, 0, 0, 1});

std::string MapLights(const ImportedScene& scene, const Placed& placed, std::size_t emissive,
                      MappedScene& mapped);
std::string MapCameras(const ImportedScene& scene, const Placed& placed, MappedScene& mapped);

constexpr const char* kCameraFile = "camera/cameras.mh";

// The block of the camera that is added where a file has none.
std::string CameraOfAll(const Extent& seen);
Extent Joined(const Extent& a, const Extent& b);

// Numbers as short as they read back to the same float.
std::string NumberText(double value);
std::string NumberText(const Vec3& v);

} // namespace mh
