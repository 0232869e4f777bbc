// From the reader's records to ours; in the helper program alone.
// SPDX-License-Identifier: MIT
#pragma once

#include "import/imported_scene.h"

#include <string>

#include <assimp/scene.h>

namespace mh {

// Meshes, nodes, lights, cameras and pictures. Bends skins by the nodes' matrices.
void ReadScene(const aiScene& from, const std::string& extension, ImportedScene& scene);

// Materials, and the pictures that they name.
void ReadMaterials(const aiScene& from, bool is_gltf, ImportedScene& scene);

// Moves nodes and shapes to where the file's first animation has them; leaves both as they are
// without one.
void PoseScene(aiScene& scene, double seconds);

// Length of the longest animation.
double DurationOf(const aiScene& scene);

inline std::string text_of(const aiString& text) {
    return {text.data, text.length};
}

inline Vec3 vec3_of(const aiVector3D& v) {
    return {v.x, v.y, v.z};
}

} // namespace mh
