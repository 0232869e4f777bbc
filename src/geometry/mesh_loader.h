// Faces that still index positions, uvs, normals and tangents apart, and their assembly into a part
// with one vertex index by welding equal corners.
// SPDX-License-Identifier: MIT
#pragma once

#include "geometry/types.h"

#include <array>
#include <string>
#include <vector>

namespace mh {

constexpr std::uint32_t kAbsent = 0xFFFFFFFFu;

struct LoaderCorner {
    std::uint32_t position = kAbsent, uv = kAbsent, normal = kAbsent, tangent = kAbsent;
    bool operator==(const LoaderCorner&) const = default;
};

struct LoaderFace {
    std::array<LoaderCorner, 4> corner; // a triangle uses three
    std::int32_t shader = 0;
    bool is_second_half = false; // of a quad that was split; the first half is the face before
};

struct MeshLoader {
    std::string path;                                        // of the last file read, for messages
    bool warned_polygons = false, warned_degenerate = false; // each message comes once
    bool splits_polygons = false; // those of more than four corners become triangles
    std::vector<Vec3> positions, normals, tangents; // pools
    std::vector<Vec2> uvs;
    std::vector<LoaderFace> triangles, tetragons;
};

// Appends the faces to the part and empties the loader. Corners that agree in position, uv, packed
// normal and packed tangent share a vertex; the part gets normals and tangents of full size, zero
// where the pools give none. Faces with two equal positions are dropped silently, faces whose
// position index is absent or outside the pool with one warning.
void AssembleMesh(MeshLoader& loader, Part& part);

} // namespace mh
