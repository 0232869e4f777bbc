// Writes the stream of an object's nodes and primitives that the walks read.
// SPDX-License-Identifier: MIT
#include "accel/prepare.h"

#include "accel/face_blocks.h"
#include "accel/state.h"
#include "math/threads.h"
#include "run/report.h"
#include "shading/types.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <new>

#include <sys/mman.h>

namespace mh {

namespace {

constexpr std::uint32_t kWideUnits = sizeof(WalkNode<8>) / sizeof(WalkUnit);
constexpr std::uint32_t kNarrowUnits = sizeof(WalkNode<4>) / sizeof(WalkUnit);
constexpr std::uint32_t kTetragonUnits = sizeof(WalkTetragons) / sizeof(WalkUnit);

constexpr std::int64_t kSmallTree = 1000; // nodes below which threads cost more than they save

// Where the nodes go.
struct Layout {
    std::vector<std::uint32_t> reference; // to every node
    std::uint64_t units = 0;
    std::uint32_t stack = 0; // entries that a walk may need
    float slack = 0.0f;      // that boxes have on every side
};

// Bit k: slot k has a child.
std::uint32_t used_slots(const WideNode& node) {
    std::uint32_t used = 0;
    for (std::uint32_t slot = 0; slot < kWide; ++slot)
        if (node.child[slot] != kEmptyChild) used |= 1u << slot;
    return used;
}

// Of what kind a node is, as references to it say.
std::uint32_t node_kind(std::uint32_t index, std::uint32_t used, const BlockPlan& plan) {
    const std::uint32_t narrow = index != 0 && used < 1u << 4 ? 1 : 0;
    const bool bottom = plan.slots == used && plan.narrow == narrow && plan.wide == 1 - narrow;
    return (narrow != 0 ? kWalkNarrow : 0) | (bottom ? kWalkBottom : 0);
}

// Calls visit(first, count) for the primitives of a leaf that stands in no block: one each, or
// tetragons side by side.
template<typename Visit>
void for_each_primitive(const Object& object, const PrimitiveRef* refs, std::uint32_t count,
                        const Visit& visit) {
    for (std::uint32_t k = 0; k < count;) {
        const std::uint32_t together = tetragons_together(object, refs + k, count - k);
        visit(k, together);
        k += std::max(together, 1u);
    }
}

std::uint64_t leaf_units(const Object& object, const PrimitiveRef* refs, std::uint32_t count) {
    std::uint64_t units = 0;
    for_each_primitive(object, refs, count, [&](std::uint32_t, std::uint32_t together) {
        units += together > 0 ? kTetragonUnits : 1;
    });
    return units;
}

// What stands at a node's place: itself, its blocks, the primitives of its other leaves.
std::uint64_t units_of(const Object& object, const Tree& tree, const WideNode& node,
                       std::uint32_t kind, const BlockPlan& plan) {
    std::uint64_t units = plan.units + ((kind & kWalkNarrow) != 0 ? kNarrowUnits : kWideUnits);
    for (std::uint32_t slot = 0; slot < kWide; ++slot)
        if ((plan.slots >> slot & 1u) == 0 && node.count[slot] > 0)
            units += leaf_units(object, &tree.references[node.child[slot]], node.count[slot]);
    return units;
}

// Places the subtree of a node in depth-first order; `below` is what the stack holds above it.
void place(const Object& object, const Tree& tree, std::uint32_t index, std::uint32_t below,
           Layout& layout) {
    const WideNode& node = tree.nodes[index];
    const BlockPlan plan = plan_blocks(object, tree, node);
    const std::uint32_t used = used_slots(node), kind = node_kind(index, used, plan);
    layout.reference[index] = static_cast<std::uint32_t>(layout.units) | kind;
    layout.units += units_of(object, tree, node, kind, plan);
    const auto children = static_cast<std::uint32_t>(std::popcount(used));
    layout.stack = std::max(layout.stack, below + children);
    for (std::uint32_t slot = 0; slot < kWide; ++slot)
        if ((used >> slot & 1u) != 0 && node.count[slot] == 0)
            place(object, tree, node.child[slot], below + children - 1, layout);
}

void copy(const Vec3& from, float* to) {
    to[0] = from.x;
    to[1] = from.y;
    to[2] = from.z;
}

float radius_at(const Part& part, std::uint32_t vertex) {
    if (part.scalar_arrays.empty()) return 0.0f;
    const std::vector<float>& radii = part.scalar_arrays[0].values;
    return vertex < radii.size() ? radii[vertex] : 0.0f;
}

Vec3 tangent_at(const Part& part, std::uint32_t vertex) {
    return vertex < part.tangents.size() ? unpack_unit(part.tangents[vertex]) : Vec3{};
}

WalkCylinder walk_cylinder(const Part& part, std::uint32_t vertex) {
    WalkCylinder record;
    copy(part.positions[vertex], record.p0);
    copy(part.positions[vertex + 1], record.p1);
    copy(tangent_at(part, vertex), record.t0);
    copy(tangent_at(part, vertex + 1), record.t1);
    record.radius0 = radius_at(part, vertex);
    record.radius1 = radius_at(part, vertex + 1);
    return record;
}

WalkParticle walk_particle(const Part& part, std::uint32_t vertex) {
    WalkParticle record;
    copy(part.positions[vertex], record.center);
    record.radius = radius_at(part, vertex);
    return record;
}

bool is_affine(const Mat4& m) {
    return m.m[3][0] == 0.0f && m.m[3][1] == 0.0f && m.m[3][2] == 0.0f && m.m[3][3] == 1.0f;
}

void write_instance(const Instance& instance, WalkPrimitive& p) {
    const RawVector<WalkUnit>& target = Trees[instance.object].walk;
    if (target.empty()) return;
    p.index = instance.object;
    p.visibility = static_cast<std::uint8_t>(Visibility::all);
    if (!is_affine(instance.inverse)) {
        p.kind = kWalkProjection;
        p.projection = {&instance, target.data()};
        return;
    }
    p.kind = static_cast<std::uint8_t>(PrimitiveKind::instance);
    p.instance.target = target.data();
    for (int row = 0; row < 3; ++row)
        std::copy_n(instance.inverse.m[row], 4, p.instance.inverse[row]);
}

void write_part_primitive(const Part& part, const PrimitiveRef& ref, WalkPrimitive& p) {
    std::uint32_t shader = part.shader_id;
    switch (ref.kind) {
    case PrimitiveKind::particle:
        if (ref.index >= part.particles.size()) return;
        p.particle = walk_particle(part, part.particles[ref.index]);
        break;
    case PrimitiveKind::cylinder:
        if (ref.index >= part.cylinders.size()) return;
        p.cylinder = walk_cylinder(part, part.cylinders[ref.index]);
        break;
    case PrimitiveKind::triangle:
        if (ref.index >= part.triangles.size()) return;
        write_triangle(part, part.triangles[ref.index], p.triangle);
        shader = part.triangles[ref.index].shader;
        break;
    case PrimitiveKind::tetragon:
        if (ref.index >= part.tetragons.size()) return;
        shader = part.tetragons[ref.index].shader;
        p.tetragon = {walk_corners(part, part.tetragons[ref.index]), shader};
        break;
    case PrimitiveKind::instance: return;
    }
    p.kind = static_cast<std::uint8_t>(ref.kind);
    p.part = static_cast<std::uint8_t>(ref.part);
    p.visibility = visibility_of(shader);
}

// A reference that names nothing becomes a primitive that no ray hits.
void write_primitive(const Object& object, const PrimitiveRef& ref, WalkPrimitive& p) {
    if (ref.kind != PrimitiveKind::instance) {
        p.index = ref.index;
        if (ref.part < object.parts.size()) write_part_primitive(object.parts[ref.part], ref, p);
    } else if (ref.index < object.instances.size()) {
        if (object.instances[ref.index].usable) write_instance(object.instances[ref.index], p);
    }
}

// What a node says of itself: boxes and blocks.
template<std::uint32_t N>
void write_head(const WideNode& from, std::uint32_t index, const BlockPlan& plan, float slack,
                WalkNode<N>& node) {
    for (int axis = 0; axis < 3; ++axis)
        for (std::uint32_t slot = 0; slot < N; ++slot) {
            const float lower = from.planes[0][axis][slot], upper = from.planes[1][axis][slot];
            const float margin = lower < upper ? slack : 0.0f; // none across flat boxes
            node.planes[0][axis][slot] = lower - margin;
            node.planes[1][axis][slot] = upper + margin;
        }
    node.wide_node = index;
    node.leaves = 0;
    node.blocked = static_cast<std::uint8_t>(plan.slots);
    node.wide_blocks = static_cast<std::uint8_t>(plan.wide);
    node.narrow_blocks = static_cast<std::uint8_t>(plan.narrow);
}

// The primitives of a leaf that stands in no block, from unit `next` on; returns the unit after
// them.
std::uint32_t write_leaf(const Object& object, Tree& tree, std::uint32_t first, std::uint32_t count,
                         std::uint32_t next) {
    const PrimitiveRef* const refs = &tree.references[first];
    bool* last = nullptr;
    for_each_primitive(object, refs, count, [&](std::uint32_t k, std::uint32_t together) {
        WalkUnit* const unit = tree.walk.data() + next;
        if (together > 0) {
            auto& tetragons = *new (unit) WalkTetragons{};
            write_tetragons(object, refs + k, together, tetragons);
            last = &tetragons.last;
            next += kTetragonUnits;
        } else {
            auto& p = *new (unit) WalkPrimitive{};
            write_primitive(object, refs[k], p);
            last = &p.last;
            ++next;
        }
    });
    *last = true;
    return next;
}

template<std::uint32_t N>
void write_node(const Object& object, Tree& tree, std::uint32_t index, const Layout& layout) {
    const WideNode& from = tree.nodes[index];
    const std::uint32_t unit_number = layout.reference[index] & kWalkUnitMask;
    WalkUnit* const unit = tree.walk.data() + unit_number;
    auto& node = *new (unit) WalkNode<N>;
    const BlockPlan plan = plan_blocks(object, tree, from);
    write_head(from, index, plan, layout.slack, node);
    if constexpr (N == kWide) node.object = &object;
    std::uint32_t next = unit_number + static_cast<std::uint32_t>(sizeof node / sizeof *unit);
    write_blocks(object, tree, from, plan, node.block_slots, tree.walk.data() + next);
    next += plan.units;
    for (std::uint32_t slot = 0; slot < N; ++slot) {
        const std::uint32_t child = from.child[slot], count = from.count[slot];
        node.child[slot] = kWalkLeaf;
        if (child == kEmptyChild) continue;
        if (count == 0) {
            node.child[slot] = layout.reference[child];
            continue;
        }
        node.leaves = static_cast<std::uint8_t>(node.leaves | 1u << slot);
        if ((plan.slots >> slot & 1u) != 0) {
            node.child[slot] = unit_number | kWalkLeaf | kWalkBlocks | (N == 4 ? kWalkNarrow : 0u);
            continue;
        }
        node.child[slot] = next | kWalkLeaf;
        next = write_leaf(object, tree, child, count, next);
    }
}

// The distances to two planes come with three roundings each. A ray that runs through the edge of a
// box, as at a vertex of a closed mesh, would miss it, and those of the neighbours as well [Ize13].
// Within the object, and about as far from the origin as it stands, the slack makes up for that.
// Both distances to a flat box are the same: it needs none across, and a ray that starts on its
// face would enter it for nothing.
float slack_of(const WideNode& root) {
    constexpr float kRoundings = 0x1p-21f; // eight halves of the last place
    float reach = 0.0f;
    for (std::uint32_t slot = 0; slot < kWide; ++slot)
        for (int axis = 0; axis < 3 && root.child[slot] != kEmptyChild; ++axis)
            reach = std::max({reach, std::fabs(root.planes[0][axis][slot]),
                              std::fabs(root.planes[1][axis][slot])});
    return kRoundings * reach;
}

// Asks for large pages before the memory is first touched: walks jump all over it.
void reserve_stream(RawVector<WalkUnit>& stream, std::uint64_t units) {
    constexpr std::uintptr_t kLargePage = std::uintptr_t{1} << 21;
    stream.reserve(units);
    const auto begin = reinterpret_cast<std::uintptr_t>(stream.data());
    const std::uintptr_t first = (begin + kLargePage - 1) & ~(kLargePage - 1);
    const std::uintptr_t last = (begin + units * sizeof(WalkUnit)) & ~(kLargePage - 1);
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the kernel wants the address of a page
    if (first < last) madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
    stream.resize(units);
}

} // namespace

std::uint64_t WalkUnits(const Object& object, const Tree& tree) {
    std::uint64_t units = 0;
    for (std::uint32_t i = 0; i < tree.nodes.size(); ++i) {
        const WideNode& node = tree.nodes[i];
        const BlockPlan plan = plan_blocks(object, tree, node);
        units += units_of(object, tree, node, node_kind(i, used_slots(node), plan), plan);
    }
    return units;
}

void PrepareWalk(const Object& object, Tree& tree) {
    if (tree.nodes.empty()) {
        tree.walk = {};
        return;
    }
    Layout layout;
    layout.reference.resize(tree.nodes.size());
    place(object, tree, 0, 0, layout);
    layout.slack = slack_of(tree.nodes[0]);
    if (layout.units > kWalkUnitMask || layout.stack > kWalkStack) {
        ReportError("walk - tree is too large: " + object.name);
        tree.walk = {};
        return;
    }
    if (tree.walk.size() != layout.units) reserve_stream(tree.walk, layout.units);
    const auto count = static_cast<std::int64_t>(tree.nodes.size());
#pragma omp parallel for num_threads(team_size())                                                  \
    schedule(static) if (count > kSmallTree) default(none) shared(count, object, tree, layout)
    for (std::int64_t i = 0; i < count; ++i) {
        const auto index = static_cast<std::uint32_t>(i);
        if ((layout.reference[index] & kWalkNarrow) != 0)
            write_node<4>(object, tree, index, layout);
        else
            write_node<8>(object, tree, index, layout);
    }
}

} // namespace mh
