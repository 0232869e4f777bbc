// The fixed sequence that completes a part before the trees are built; run by the set-up of its
// object.
// SPDX-License-Identifier: MIT
#include "geometry/finalise.h"

#include "geometry/displacement.h"
#include "geometry/objects.h"
#include "geometry/smoothing.h"
#include "geometry/strands.h"
#include "shading/state.h"

#include <algorithm>
#include <cmath>
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

// Whether the bilinear map of the unit square to the quad spreads area evenly, as density cells and
// samples of lamps expect: exactly so for parallelograms, whose diagonals bisect each other.
bool is_even(const Part& part, const Tetragon& t) {
    constexpr float kMostUneven = 0.01f; // share of the area
    const auto at = [&](std::size_t corner) { return part.positions[t.vertex[corner]]; };
    const Vec3 e0 = at(1) - at(0), e1 = at(3) - at(0), apart = e0 + e1 - (at(2) - at(0));
    const auto area = [](const Vec3& a, const Vec3& b) {
        const Vec3 normal = cross(a, b);
        return std::sqrt(dot(normal, normal)); // no floor: quads may be tiny
    };
    return area(apart, e0) + area(apart, e1) <= kMostUneven * area(e0, e1);
}

void split_uneven_quads(Part& part) {
    const auto first_uneven =
        std::stable_partition(part.tetragons.begin(), part.tetragons.end(),
                              [&](const Tetragon& t) { return is_even(part, t); });
    for (auto t = first_uneven; t != part.tetragons.end(); ++t)
        AppendHalves(part, *t);
    part.tetragons.erase(first_uneven, part.tetragons.end());
}

void finish_faces(Part& part) {
    if (part.triangles.empty() && part.tetragons.empty()) return;
    for (Triangle& t : part.triangles)
        if (reversed(t.shader)) std::swap(t.vertex[0], t.vertex[1]);
    for (Tetragon& t : part.tetragons)
        if (reversed(t.shader)) std::swap(t.vertex[0], t.vertex[2]);
    split_uneven_quads(part);
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
