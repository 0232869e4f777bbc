// Boxes of primitives and of instances, and the matrices of instances.
// SPDX-License-Identifier: MIT
#include "accel/bounds.h"

#include "accel/hair_curve.h"
#include "accel/state.h"
#include "geometry/objects.h"
#include "geometry/state.h"

#include <cstdlib>

namespace mh {

namespace {

// Beyond this the areas of boxes overflow.
constexpr float kLargestCoordinate = 1e18f;

template<typename Corners>
Aabb corner_bounds(const Part& part, const Corners& corners) {
    Aabb box;
    for (const std::uint32_t vertex : corners)
        merge(box, part.positions[vertex]);
    return box;
}

void enlarge(Aabb& box, float radius) {
    box.min = box.min - splat(radius);
    box.max = box.max + splat(radius);
}

Vec3 corner(const Aabb& box, int number) {
    return {(number & 1) != 0 ? box.max.x : box.min.x, (number & 2) != 0 ? box.max.y : box.min.y,
            (number & 4) != 0 ? box.max.z : box.min.z};
}

Aabb transformed(const Mat4& matrix, const Aabb& box) {
    Aabb result;
    for (int i = 0; i < 8; ++i)
        merge(result, transform_point(matrix, corner(box, i)));
    return result;
}

// Also false for a box that no finite corner was merged into.
bool is_moderate(const Aabb& box) {
    constexpr Aabb kLimits = {splat(-kLargestCoordinate), splat(kLargestCoordinate)};
    return contains(kLimits, box) && box.min.x <= box.max.x && box.min.y <= box.max.y
           && box.min.z <= box.max.z;
}

} // namespace

Aabb particle_bounds(const Part& part, std::uint32_t index) {
    const std::uint32_t vertex = part.particles[index];
    Aabb box = {part.positions[vertex], part.positions[vertex]};
    enlarge(box, radii(part)[vertex]);
    return box;
}

Aabb cylinder_bounds(const Part& part, std::uint32_t index) {
    const std::uint32_t vertex = part.cylinders[index];
    const HairSegment segment = {part.positions[vertex], part.positions[vertex + 1],
                                 unpack_unit(part.tangents[vertex]),
                                 unpack_unit(part.tangents[vertex + 1])};
    Aabb box;
    for (const Vec3& sample : hair_samples(segment))
        merge(box, sample);
    enlarge(box, radii(part)[vertex]);
    return box;
}

Aabb triangle_bounds(const Part& part, std::uint32_t index) {
    return corner_bounds(part, part.triangles[index].vertex);
}

Aabb tetragon_bounds(const Part& part, std::uint32_t index) {
    return corner_bounds(part, part.tetragons[index].vertex);
}

Aabb reference_bounds(const Object& object, const PrimitiveRef& ref) {
    switch (ref.kind) {
    case PrimitiveKind::particle: return particle_bounds(object.parts[ref.part], ref.index);
    case PrimitiveKind::cylinder: return cylinder_bounds(object.parts[ref.part], ref.index);
    case PrimitiveKind::triangle: return triangle_bounds(object.parts[ref.part], ref.index);
    case PrimitiveKind::tetragon: return tetragon_bounds(object.parts[ref.part], ref.index);
    case PrimitiveKind::instance: return object.instances[ref.index].world_box;
    }
    std::abort();
}

Aabb slot_box(const WideNode& node, int slot) {
    const auto& [lower, upper] = node.planes;
    return {{lower[0][slot], lower[1][slot], lower[2][slot]},
            {upper[0][slot], upper[1][slot], upper[2][slot]}};
}

void UpdateInstance(Instance& instance) {
    instance.usable = false;
    if (instance.object >= Objects.size()) return;
    const Object& target = Objects[instance.object];
    if (Trees[instance.object].nodes.empty() || !invert(instance.matrix, instance.inverse)) return;
    instance.inverse_block = upper_left(instance.inverse);
    instance.normal_matrix = transpose(instance.inverse_block);
    instance.world_box = transformed(instance.matrix, target.box);
    instance.usable = is_moderate(instance.world_box);
}

} // namespace mh
