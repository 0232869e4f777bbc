// Flattening of the binary tree into eight-wide nodes.
// SPDX-License-Identifier: MIT
#pragma once

#include "accel/types.h"
#include "geometry/types.h"

namespace mh {

// Fills the object's wide nodes, references, logs and depth from its binary tree, whose boxes,
// costs and numbers of primitives are final and which is not empty. A subtree of at most
// `smallest` primitives becomes a leaf whatever its cost.
void Collapse(Tree& tree, std::uint32_t smallest);

} // namespace mh
