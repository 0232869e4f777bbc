// Colours of vertices as pictures, since surfaces take their colours from pictures alone.
// SPDX-License-Identifier: MIT
#pragma once

#include "import/imported_scene.h"

namespace mh {

// Gives each mesh of other colours than white a copy of its material, with a picture of four texels
// a triangle, and vertices that no two triangles share. Materials that have pictures already keep
// them, and the colours are dropped with a line.
void PaintVertexColors(ImportedScene& scene);

} // namespace mh
