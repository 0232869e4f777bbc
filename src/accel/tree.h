// Per object: a binary tree by binned surface-area splits [Wald07], improved by local
// restructuring [Kensler08], and flattened into eight-wide nodes [Dammertz08].
// SPDX-License-Identifier: MIT
#pragma once

#include "geometry/types.h"

namespace mh {

// Topology of the binary tree over all primitives and usable instances. Reports the time. An
// object without any keeps empty vectors.
void Build(Object& object);

// Boxes, costs, restructuring, object box, wide nodes.
void Update(Object& object);

// Sorts the children of every wide node by falling surface area.
void SATOrder(Object& object);

// Sorts the children of every wide node by measured occlusions per cost; without any measured the
// tree stays as it is. Returns the expected cost of the root.
float ReorderTree(Object& object);

} // namespace mh
