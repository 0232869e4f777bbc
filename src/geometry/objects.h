// Creation of objects, parts and instances, and appending of their data.
// SPDX-License-Identifier: MIT
#pragma once

#include "geometry/types.h"

namespace mh {

// All return the index of the new record.
int AddObject();
int AddPart(Object& object); // with its "radius" and "uv" arrays
int AddInstance(Object& object);

// Both triangles of a tetragon.
void AppendHalves(Part& part, const Tetragon& face);

// Arrays of positions, and of the two that every part has.
inline std::vector<float>& radii(Part& part) {
    return part.scalar_arrays[0].values;
}

inline const std::vector<float>& radii(const Part& part) {
    return part.scalar_arrays[0].values;
}

inline std::vector<Vec2>& uvs(Part& part) {
    return part.vec2_arrays[0].values;
}

inline const std::vector<Vec2>& uvs(const Part& part) {
    return part.vec2_arrays[0].values;
}

// The first existing file of GeometrySearchPaths joined with "/" and the name; the name itself
// when none exists.
std::string FindGeometryFile(const std::string& name);

} // namespace mh
