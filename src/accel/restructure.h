// Costs of binary nodes and their improvement by exchanging subtrees.
// SPDX-License-Identifier: MIT
#pragma once

#include "accel/types.h"

#include <span>

namespace mh {

inline bool is_inner(const BinaryNode& node) {
    return node.count == 0;
}

// Box, cost and number of primitives of an inner node from its children; cost and number of a
// leaf from its box and count. A node costs its area, a leaf that of each of its primitives.
void refit(std::span<BinaryNode> nodes, std::uint32_t index);

// Takes the cheapest of the shapes that the up to four grandchildren of a node can form below it
// and refits the node. Everything under it has been restructured before.
void restructure(std::span<BinaryNode> nodes, std::uint32_t index);

} // namespace mh
