// What the reader library leaves out of glTF: the strength of emission, and the specular factor.
// SPDX-License-Identifier: MIT
#pragma once

#include "import/imported_scene.h"

#include <string>

#include <assimp/IOSystem.hpp>

namespace mh {

// Completes the materials by the text of the file; extensions that nothing here reads are dropped
// by name. A file that cannot be read changes nothing.
void ReadGltfExtensions(Assimp::IOSystem& files, const std::string& name, ImportedScene& scene);

} // namespace mh
