// Geometry stored in images: one element per pixel.
// SPDX-License-Identifier: MIT
#pragma once

#include "geometry/types.h"

#include <string>

namespace mh {

// Image names of a mesh that is being described.
struct TextureMesh {
    std::string position, uv, normal, tangent, triangle;
};

// Reads the images into the part: triangle pixels hold three position indices each, which also
// index uvs, normals and tangents.
void ReadTextureMesh(const TextureMesh& mesh, Part& part);

// One particle per pixel: position in the first three channels, radius in the fourth.
void ReadParticleTexture(Part& part, const std::string& image);

} // namespace mh
