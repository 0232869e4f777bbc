// Wavefront OBJ files: v, vt, vn, f, usemtl; nothing else is recognised.
// SPDX-License-Identifier: MIT
#pragma once

#include "geometry/mesh_loader.h"

#include <string>

namespace mh {

// Appends the file's pools and faces; indices count from what the pools held. A file that cannot
// be opened gets one error line.
void ReadObj(MeshLoader& loader, const std::string& path);

} // namespace mh
