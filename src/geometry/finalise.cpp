// The fixed sequence that completes a part before the trees are built; run by the set-up of its
// object.
// SPDX-License-Identifier: MIT
#include "geometry/finalise.h"

#include "geometry/displacement.h"
#include "geometry/smoothing.h"
#include "geometry/strands.h"
#include "shading/types.h"

#include <algorithm>
#include <utility>

namespace mh {

namespace {

void finish_strands(Part& part) {
    if (part.cylinders.empty()) return;
    if (part.shader_id < Shaders.size()) Shaders[part.shader_id].is_hair = true;
    AddStrandParameters(part);
    AddStrandTangents(part);
}

bool reversed(std::uint32_t shader) {
    return shader < Shaders.size() && Shaders[shader].reverse_winding;
}

void finish_faces(Part& part) {
    if (part.triangles.empty() && part.tetragons.empty()) return;
    for (Triangle& t : part.triangles)
        if (reversed(t.shader)) std::swap(t.vertex[0], t.vertex[1]);
    for (Tetragon& t : part.tetragons)
        if (reversed(t.shader)) std::swap(t.vertex[0], t.vertex[2]);
    Displace(part);
    Smooth(part);
    RemoveUntraceable(part); // displacement may leave the range of coordinates
}

template<typename T>
void fit(std::vector<VertexArray<T>>& arrays) {
    for (VertexArray<T>& array : arrays)
        array.values.shrink_to_fit();
}

void release_spare_memory(Part& part) {
    fit(part.vec2_arrays);
    fit(part.scalar_arrays);
    fit(part.vec3_arrays);
    part.positions.shrink_to_fit();
    part.normals.shrink_to_fit();
    part.tangents.shrink_to_fit();
    part.triangles.shrink_to_fit();
    part.tetragons.shrink_to_fit();
}

} // namespace

void FinalisePart(Part& part) {
    CheckPart(part);
    finish_strands(part);
    part.has_motion =
        std::any_of(part.vec3_arrays.begin(), part.vec3_arrays.end(),
                    [](const VertexArray<Vec3>& array) { return array.name == "motion"; });
    finish_faces(part);
    release_spare_memory(part);
}

} // namespace mh
