// Wavefront OBJ files: v, vt, vn, f, usemtl; nothing else is recognised.
// SPDX-License-Identifier: MIT
#pragma once

#include "geometry/mesh_loader.h"

#include <string>
#include <string_view>

namespace mh {

// Appends the file's pools and faces; indices count from what the pools held. A file that cannot
// be opened gets one error line, one that gives no face a warning.
void ReadObj(MeshLoader& loader, const std::string& path);

// Why a file gives nothing, by how it starts: ": " and the reason; empty when that is none.
std::string ReasonOfNothing(std::string_view start);

// Whether a line goes on with the next one: its last character is a backslash, and it is no
// comment.
bool continues(std::string_view line);

} // namespace mh
