// Checks of a part before anything is derived from it. Faults are reported and then repaired, so
// that no later step needs to test an index: arrays get their full size, primitives that name no
// vertex or no usable point go.
// SPDX-License-Identifier: MIT
#include "geometry/finalise.h"
#include "geometry/objects.h"
#include "math/count_text.h"
#include "run/report.h"
#include "shading/state.h"

#include <algorithm>
#include <cmath>

namespace mh {

namespace {

void check_kinds(const Part& part) {
    const bool particles = !part.particles.empty(), cylinders = !part.cylinders.empty();
    const bool faces = !part.triangles.empty() || !part.tetragons.empty();
    const int faults = (particles && cylinders) + (particles && faces) + (cylinders && faces);
    for (int i = 0; i < faults; ++i)
        ReportError("object - mixed types (ex. cylinders and triangles in the same group) ");
}

// Brings an array that is not empty to one entry per vertex; true when it had another size.
template<typename T>
bool fit(std::vector<T>& values, std::size_t vertices) {
    if (values.empty() || values.size() == vertices) return false;
    values.resize(vertices);
    return true;
}

template<typename T>
bool fit(std::vector<VertexArray<T>>& arrays, std::size_t vertices) {
    bool changed = false;
    for (VertexArray<T>& array : arrays)
        changed |= fit(array.values, vertices);
    return changed;
}

void check_sizes(Part& part) {
    const std::size_t vertices = part.positions.size();
    bool changed = fit(part.scalar_arrays, vertices);
    changed |= fit(part.vec2_arrays, vertices);
    changed |= fit(part.vec3_arrays, vertices);
    changed |= fit(part.normals, vertices);
    changed |= fit(part.tangents, vertices);
    if (changed) ReportError("object - different size of per vertex data array");
    const bool round = !part.particles.empty() || !part.cylinders.empty();
    if (round) radii(part).resize(vertices); // absent radii are 0
}

template<typename Face>
void assign_shader(std::vector<Face>& faces, std::uint32_t shader) {
    for (Face& face : faces)
        if (face.shader >= Shaders.size() || Shaders[face.shader].name == "undefined")
            face.shader = shader;
}

void assign_shaders(Part& part) {
    if (part.shader_id >= Shaders.size()) part.shader_id = 0;
    assign_shader(part.triangles, part.shader_id);
    assign_shader(part.tetragons, part.shader_id);
}

// Beyond this, products of coordinates leave the range of a float.
constexpr float kFarthest = 1e18f;

bool usable(float x) {
    return std::fabs(x) <= kFarthest;
}

bool usable_point(const Part& part, std::uint64_t vertex) {
    if (vertex >= part.positions.size()) return false;
    const Vec3& p = part.positions[vertex];
    return usable(p.x) && usable(p.y) && usable(p.z);
}

bool usable_sphere(const Part& part, std::uint64_t vertex) {
    return usable_point(part, vertex)
           && (vertex >= radii(part).size() || usable(radii(part)[vertex]));
}

bool usable_cylinder(const Part& part, std::uint64_t vertex) {
    return usable_sphere(part, vertex) && usable_sphere(part, vertex + 1);
}

template<typename Face>
bool untraceable_face(const Part& part, const Face& face) {
    return !std::all_of(face.vertex.begin(), face.vertex.end(),
                        [&](std::uint32_t v) { return usable_point(part, v); });
}

// Of one kind of primitive, by its test.
template<typename Primitive, typename Test>
auto count_if(const std::vector<Primitive>& primitives, Test test) {
    return std::count_if(primitives.begin(), primitives.end(), test);
}

// Keeps strand_lengths in step with the cylinders that stay.
void shorten_strands(Part& part) {
    std::size_t next = 0;
    for (std::uint32_t& length : part.strand_lengths) {
        const std::size_t end = std::min(next + length, part.cylinders.size());
        for (; next < end; ++next)
            if (!usable_cylinder(part, part.cylinders[next])) --length;
    }
}

} // namespace

std::string UntraceableFault(const Part& part) {
    const auto bad_face = [&](const auto& face) { return untraceable_face(part, face); };
    const auto count =
        count_if(part.triangles, bad_face) + count_if(part.tetragons, bad_face)
        + count_if(part.particles, [&](std::uint32_t v) { return !usable_sphere(part, v); })
        + count_if(part.cylinders, [&](std::uint32_t c) { return !usable_cylinder(part, c); });
    if (count == 0) return {};
    return "object - " + CountText(count, "primitive")
           + " with indices out of range or positions that are not finite left out";
}

void RemoveUntraceable(Part& part) {
    const std::string fault = UntraceableFault(part);
    if (fault.empty()) return;
    const auto bad_face = [&](const auto& face) { return untraceable_face(part, face); };
    std::erase_if(part.triangles, bad_face);
    std::erase_if(part.tetragons, bad_face);
    std::erase_if(part.particles, [&](std::uint32_t v) { return !usable_sphere(part, v); });
    shorten_strands(part);
    std::erase_if(part.cylinders, [&](std::uint32_t c) { return !usable_cylinder(part, c); });
    ReportError(fault);
}

void CheckPart(Part& part) {
    check_kinds(part);
    check_sizes(part);
    assign_shaders(part);
    RemoveUntraceable(part);
}

} // namespace mh
