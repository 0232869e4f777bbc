// What the reader library leaves out of glTF: the strength of emission, the specular factor, and
// the set of texture coordinates that a transform names.
// SPDX-License-Identifier: MIT
#pragma once

#include "import/imported_scene.h"

#include <string_view>

namespace mh {

// Completes the materials by the content of the file, .gltf or .glb; extensions and their pictures
// that nothing here reads are dropped by name. What cannot be parsed changes nothing.
void ReadGltfExtensions(std::string_view content, ImportedScene& scene);

} // namespace mh
