// Binary mesh files: arrays of vertices and triangles as they stand in memory.
// SPDX-License-Identifier: MIT
#pragma once

#include "geometry/types.h"

#include <array>
#include <string>

namespace mh {

// What a mesh file starts with; all numbers are little-endian. Behind it follow positions and,
// where they are present, normals (three floats a vertex each) and texture coordinates (two), then
// three vertex numbers a triangle.
struct MeshFileHead {
    std::array<char, 8> signature = {'M', 'H', 'M', 'E', 'S', 'H', '1', '\n'};
    std::uint32_t vertices = 0, triangles = 0;
    std::uint32_t has_normals = 0, has_uvs = 0; // 0 or 1
};

static_assert(sizeof(MeshFileHead) == 24);

// Length of the whole file.
std::uint64_t MeshFileBytes(const MeshFileHead& head);

// Fills a part that holds nothing yet. Triangles whose corners share a position are left out, as of
// every mesh. A file that is not a whole mesh file adds nothing but one line of the report.
void ReadMeshFile(const std::string& path, Part& part);

} // namespace mh
