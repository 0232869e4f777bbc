// The stream that the walks read: written when an object's tree has been made or reordered.
// SPDX-License-Identifier: MIT
#pragma once

#include "accel/types.h"
#include "geometry/types.h"

namespace mh {

// Units that the stream of an object takes, from its wide nodes and references.
std::uint64_t WalkUnits(const Object& object, const Tree& tree);

// Fills Tree::walk from nodes, references, parts and shaders. Call after SATOrder, at the end of
// the setup of an object, which no ray hits before, and after a ReorderTree that moved something:
// the stream then stays where it is, so that the instances that lead to it stay right.
void PrepareWalk(const Object& object, Tree& tree);

} // namespace mh
