// Texture coordinates of hair strands from the surface they grow on. Called by the scene assembly
// when an object's tree stands.
// SPDX-License-Identifier: MIT
#include "accel/root_uv.h"

#include "accel/bounds.h"
#include "geometry/objects.h"
#include "hit/hit_vertices.h"
#include "math/faces.h"

#include <algorithm>
#include <cmath>

namespace mh {

namespace {

struct Foot {
    float distance = kFar; // of the point from the plane of the nearest face so far
    Vec2 uv;
};

Vec2 vertex_uv(const Part& part, std::uint32_t vertex) {
    return vertex < uvs(part).size() ? uvs(part)[vertex] : Vec2{};
}

// Corners relative to the point, the normal, and for each edge normal . (corner x next corner).
template<std::size_t N>
struct Projection {
    std::array<Vec3, N> corner;
    Vec3 normal;
    std::array<float, N> edge;
};

template<std::size_t N>
void set_edges(Projection<N>& p) {
    for (std::size_t i = 0; i < N; ++i)
        p.edge[i] = dot(p.normal, cross(p.corner[i], p.corner[(i + 1) % N]));
}

// The point projects into the face, and nearer than what was found before.
template<std::size_t N>
bool is_nearer(const Projection<N>& p, const Foot& foot) {
    bool all_above = true, all_below = true;
    for (const float value : p.edge) {
        all_above = all_above && value > 0.0f;
        all_below = all_below && value < 0.0f;
    }
    return (all_above || all_below) && std::fabs(dot(p.normal, p.corner[0])) < foot.distance;
}

void try_triangle(const Part& part, std::uint32_t index, const Vec3& point, Foot& foot) {
    const auto& v = part.triangles[index].vertex;
    Projection<3> p;
    for (std::size_t i = 0; i < 3; ++i)
        p.corner[i] = part.positions[v[i]] - point;
    p.normal = triangle_normal(p.corner[0], p.corner[1], p.corner[2]);
    set_edges(p);
    if (!is_nearer(p, foot)) return;
    const auto& [e0, e1, e2] = p.edge; // a corner weighs as the edge opposite to it
    const Vec2 sum =
        vertex_uv(part, v[0]) * e1 + vertex_uv(part, v[1]) * e2 + vertex_uv(part, v[2]) * e0;
    foot = {std::fabs(dot(p.normal, p.corner[0])), sum * (1.0f / (e0 + e1 + e2))};
}

void try_tetragon(const Part& part, std::uint32_t index, const Vec3& point, Foot& foot) {
    const auto& v = part.tetragons[index].vertex;
    Projection<4> p;
    for (std::size_t i = 0; i < 4; ++i)
        p.corner[i] = part.positions[v[i]] - point;
    p.normal = tetragon_normal(p.corner[0], p.corner[1], p.corner[2], p.corner[3]);
    set_edges(p);
    if (!is_nearer(p, foot)) return;
    const float s = p.edge[0] / (p.edge[0] + p.edge[2]), t = p.edge[3] / (p.edge[1] + p.edge[3]);
    const HitVertices<4> at = vertices_at(part.tetragons[index], s, t);
    Vec2 sum;
    for (std::size_t i = 0; i < 4; ++i)
        sum = sum + vertex_uv(part, v[i]) * at.weight[i];
    foot = {std::fabs(dot(p.normal, p.corner[0])), sum};
}

void try_leaf(const Object& object, const Tree& tree, const WideNode& node, int slot,
              const Vec3& point, Foot& foot) {
    for (std::uint32_t i = 0; i < node.count[slot]; ++i) {
        const PrimitiveRef& ref = tree.references[node.child[slot] + i];
        if (ref.kind == PrimitiveKind::triangle)
            try_triangle(object.parts[ref.part], ref.index, point, foot);
        else if (ref.kind == PrimitiveKind::tetragon)
            try_tetragon(object.parts[ref.part], ref.index, point, foot);
    }
}

// Leaves are tried whether their own box contains the point or not: that of a flat face contains
// hardly any.
void try_node(const Object& object, const Tree& tree, std::uint32_t index, const Vec3& point,
              Foot& foot) {
    const WideNode& node = tree.nodes[index];
    for (int slot = 0; slot < kWide; ++slot) {
        if (node.child[slot] == kEmptyChild) continue;
        if (node.count[slot] != 0)
            try_leaf(object, tree, node, slot, point, foot);
        else if (contains(slot_box(node, slot), point))
            try_node(object, tree, node.child[slot], point, foot);
    }
}

bool is_in_some_child(const WideNode& node, const Vec3& point) {
    for (int slot = 0; slot < kWide; ++slot) {
        if (contains(slot_box(node, slot), point)) return true;
    }
    return false;
}

Vec2 nearest_uv(const Object& object, const Tree& tree, const Vec3& point) {
    Foot foot;
    if (is_in_some_child(tree.nodes[0], point)) try_node(object, tree, 0, point, foot);
    return foot.uv;
}

void set_strand_uv(Part& part, std::size_t first, std::size_t end, const Vec2& uv) {
    for (std::size_t i = first; i < end; ++i) {
        uvs(part)[part.cylinders[i]] = uv;
        uvs(part)[part.cylinders[i] + 1] = uv;
    }
}

void transfer_part(const Object& object, const Tree& tree, Part& part) {
    uvs(part).resize(part.positions.size());
    std::size_t first = 0;
    for (const std::uint32_t length : part.strand_lengths) {
        const std::size_t end = std::min(first + length, part.cylinders.size());
        if (first == end) continue;
        const Vec3& root = part.positions[part.cylinders[first]];
        set_strand_uv(part, first, end, nearest_uv(object, tree, root));
        first = end;
    }
}

} // namespace

void TransferRootUvs(Object& object, const Tree& tree) {
    if (tree.nodes.empty()) return;
    for (Part& part : object.parts) {
        if (!part.strand_lengths.empty()) transfer_part(object, tree, part);
    }
}

} // namespace mh
