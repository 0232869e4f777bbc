// Lays faces out side by side. Called by PrepareWalk for every node and leaf.
// SPDX-License-Identifier: MIT
#include "accel/face_blocks.h"

#include "shading/state.h"

#include <algorithm>
#include <new>

namespace mh {

namespace {

constexpr std::uint32_t kWideBlockUnits = sizeof(WalkBlock<8>) / sizeof(WalkUnit);
constexpr std::uint32_t kNarrowBlockUnits = sizeof(WalkBlock<4>) / sizeof(WalkUnit);

// Whether the references are few triangles that exist.
bool fits_blocks(const Object& object, const Tree& tree, std::uint32_t first, std::uint32_t count) {
    if (count > kMaxBlockedLeaf) return false;
    for (std::uint32_t k = first; k < first + count; ++k) {
        const PrimitiveRef& ref = tree.references[k];
        if (ref.kind != PrimitiveKind::triangle || ref.part >= object.parts.size()
            || ref.index >= object.parts[ref.part].triangles.size())
            return false;
    }
    return true;
}

bool is_tetragon(const Object& object, const PrimitiveRef& ref) {
    return ref.kind == PrimitiveKind::tetragon && ref.part < object.parts.size()
           && ref.index < object.parts[ref.part].tetragons.size();
}

template<std::uint32_t N>
void set_lane(const Vec3& v, int lane, float (&rows)[3][N]) {
    rows[0][lane] = v.x;
    rows[1][lane] = v.y;
    rows[2][lane] = v.z;
}

template<std::uint32_t N>
void write_lane(const Part& part, const Triangle& face, int lane, WalkTriangles<N>& out) {
    const Vec3 p0 = part.positions[face.vertex[0]];
    const Vec3 e1 = part.positions[face.vertex[1]] - p0;
    const Vec3 e2 = part.positions[face.vertex[2]] - p0;
    const Vec3 normal = cross(e1, e2);
    set_lane(p0, lane, out.p0);
    set_lane(normal, lane, out.normal);
    set_lane(cross(e2, normal), lane, out.e2_normal);
    set_lane(cross(normal, e1), lane, out.normal_e1);
    out.normal_square[lane] = dot(normal, normal);
    out.shader[lane] = face.shader;
}

template<std::uint32_t N>
void write_block_lane(const Object& object, const PrimitiveRef& ref, std::uint32_t slot, int lane,
                      WalkBlock<N>& block) {
    const Part& part = object.parts[ref.part];
    const Triangle& face = part.triangles[ref.index];
    write_lane(part, face, lane, block.triangles);
    block.index[lane] = ref.index;
    block.part[lane] = static_cast<std::uint8_t>(ref.part);
    block.visibility[lane] = visibility_of(face.shader);
    block.slot[lane] = static_cast<std::uint8_t>(slot);
}

struct SlotTriangle {
    PrimitiveRef ref;
    std::uint32_t slot;
};

template<std::uint32_t N>
WalkUnit* write_block(const Object& object, const SlotTriangle* from, std::size_t count,
                      std::uint8_t& slots, WalkUnit* unit) {
    auto& block = *new (unit) WalkBlock<N>{};
    block.used = static_cast<std::uint8_t>(std::min<std::size_t>(count, N));
    slots = 0;
    for (std::size_t k = 0; k < block.used; ++k) {
        write_block_lane(object, from[k].ref, from[k].slot, static_cast<int>(k), block);
        slots = static_cast<std::uint8_t>(slots | 1u << from[k].slot);
    }
    return unit + sizeof block / sizeof *unit;
}

} // namespace

std::uint8_t visibility_of(std::uint32_t shader) {
    if (shader >= Shaders.size()) return static_cast<std::uint8_t>(Visibility::all);
    return std::min(static_cast<std::uint8_t>(Shaders[shader].visibility),
                    static_cast<std::uint8_t>(Visibility::all));
}

BlockPlan plan_blocks(const Object& object, const Tree& tree, const WideNode& node) {
    BlockPlan plan;
    std::uint32_t triangles = 0;
    for (std::uint32_t slot = 0; slot < kWide; ++slot) {
        if (node.child[slot] == kEmptyChild || node.count[slot] == 0
            || !fits_blocks(object, tree, node.child[slot], node.count[slot]))
            continue;
        plan.slots |= 1u << slot;
        triangles += node.count[slot];
    }
    plan.wide = (triangles + 3) / 8; // five and more of what is left take a block of eight
    plan.narrow = triangles > 8 * plan.wide ? 1 : 0;
    plan.units = plan.wide * kWideBlockUnits + plan.narrow * kNarrowBlockUnits;
    return plan;
}

void write_blocks(const Object& object, const Tree& tree, const WideNode& node,
                  const BlockPlan& plan, std::uint8_t* slots, WalkUnit* unit) {
    SlotTriangle list[kWide * kMaxBlockedLeaf];
    std::size_t count = 0, done = 0;
    for (std::uint32_t slot = 0; slot < kWide; ++slot)
        if ((plan.slots >> slot & 1u) != 0)
            for (std::uint32_t k = 0; k < node.count[slot]; ++k)
                list[count++] = {tree.references[node.child[slot] + k], slot};
    for (std::uint32_t k = 0; k < plan.wide; ++k, done += 8)
        unit = write_block<8>(object, list + done, count - std::min(done, count), *slots++, unit);
    if (plan.narrow != 0) write_block<4>(object, list + done, count - done, *slots, unit);
}

std::uint32_t tetragons_together(const Object& object, const PrimitiveRef* refs,
                                 std::uint32_t count) {
    constexpr std::uint32_t kFewest = 3; // two would leave half of the place empty
    const std::uint32_t most = std::min(count, 4u);
    std::uint32_t together = 0;
    while (together < most && is_tetragon(object, refs[together]))
        ++together;
    return together < kFewest ? 0 : together;
}

void write_tetragons(const Object& object, const PrimitiveRef* refs, std::uint32_t count,
                     WalkTetragons& out) {
    out.kind = kWalkTetragons;
    out.used = count;
    for (std::uint32_t k = 0; k < count; ++k) {
        const Part& part = object.parts[refs[k].part];
        const Tetragon& face = part.tetragons[refs[k].index];
        const auto corner = [&](std::size_t n) { return part.positions[face.vertex[n]]; };
        const int lane = static_cast<int>(k);
        set_lane(corner(0), lane, out.p0);
        set_lane(cross(corner(2) - corner(0), corner(3) - corner(1)), lane, out.normal);
        out.corners[k] = walk_corners(part, face);
        out.part[k] = static_cast<std::uint8_t>(refs[k].part);
        out.visibility[k] = visibility_of(face.shader);
        out.index[k] = refs[k].index;
        out.shader[k] = face.shader;
    }
}

WalkCorners walk_corners(const Part& part, const Tetragon& face) {
    WalkCorners corners;
    for (std::size_t k = 0; k < 4; ++k) {
        const Vec3 p = part.positions[face.vertex[k]];
        corners.x[k] = p.x;
        corners.y[k] = p.y;
        corners.z[k] = p.z;
    }
    return corners;
}

void write_triangle(const Part& part, const Triangle& face, WalkTriangles<1>& out) {
    write_lane(part, face, 0, out);
}

} // namespace mh
