// Faces side by side: the triangles of a node's small leaves behind the node, and the tetragons
// within a leaf.
// SPDX-License-Identifier: MIT
#pragma once

#include "accel/walk_types.h"
#include "geometry/types.h"

namespace mh {

// Which leaves of a node stand in blocks, and how many blocks that takes.
struct BlockPlan {
    std::uint32_t slots = 0; // bit k: slot k
    std::uint32_t wide = 0, narrow = 0;
    std::uint32_t units = 0;
};

// Leaves of up to kMaxBlockedLeaf triangles, all of which exist.
BlockPlan plan_blocks(const Object& object, const Tree& tree, const WideNode& node);

// Writes the blocks of a plan to `unit` and what follows, and which slots each of them has.
void write_blocks(const Object& object, const Tree& tree, const WideNode& node,
                  const BlockPlan& plan, std::uint8_t* slots, WalkUnit* unit);

WalkCorners walk_corners(const Part& part, const Tetragon& face);

// A triangle that stands in no block.
void write_triangle(const Part& part, const Triangle& face, WalkTriangles<1>& out);

// How many references of a leaf, from the first on, are tetragons to be written side by side; 0
// where the first is to stand alone.
std::uint32_t tetragons_together(const Object& object, const PrimitiveRef* refs,
                                 std::uint32_t count);

void write_tetragons(const Object& object, const PrimitiveRef* refs, std::uint32_t count,
                     WalkTetragons& out);

// 0 to 3, as rays ask for it; of a shader that doesn't exist that of `all`.
std::uint8_t visibility_of(std::uint32_t shader);

} // namespace mh
