// The triangles of a node's small leaves, side by side behind the node.
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

// A triangle that stands in no block.
void write_triangle(const Part& part, const Triangle& face, WalkTriangles<1>& out);

// 0 to 3, as rays ask for it; of a shader that doesn't exist that of `all`.
std::uint8_t visibility_of(std::uint32_t shader);

} // namespace mh
