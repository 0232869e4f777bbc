// Per object: a binary tree by binned surface-area splits [Wald07], improved by local
// restructuring [Kensler08], and flattened into eight-wide nodes [Dammertz08].
// SPDX-License-Identifier: MIT
#pragma once

#include "accel/types.h"
#include "geometry/types.h"

#include <cstddef>
#include <string>

namespace mh {

// Nodes, references and the walks' stream at the peak of a build: a run over a terrain of a million
// triangles takes 384 MB, less some 40 MB of the mesh and the program itself.
constexpr double kTreeBytesOfPrimitive = 350.0;

// Objects of more primitives are refused before the build: the walks number 2^27 units of a stream.
// With subtrees of up to eight primitives as leaves, a primitive takes 44 / 23 units at most. In
// that worst tree an upper node (4 units) has five leaves of one triangle (a block of 8) and three
// nodes, and for each there are two bottom nodes (4) of nine triangles (blocks of 12).
constexpr std::size_t kMostPrimitives = 69'000'000;

// Up to here the usual leaves fit, at 44 / 13 units a primitive at most: an upper node (4) has one
// leaf of one triangle (a block of 4) and seven nodes, and for each there are six bottom nodes (2)
// of two triangles (a block of 4).
constexpr std::size_t kMostPrimitivesOfAnyTree = 39'000'000;

// All that a tree is built over, unusable instances included.
std::size_t PrimitiveCount(const Object& object);

// What of the object no tree holds, as an error line; empty when there is room for all.
std::string LostParts(const Object& object);
std::string TooLarge(const Object& object);

// Topology of the binary tree over all primitives and usable instances. Reports the time. An
// object without any keeps empty vectors.
void Build(const Object& object, Tree& tree);

// Boxes, costs, restructuring, the object's box, wide nodes.
void Update(Object& object, Tree& tree);

// Sorts the children of every wide node by falling surface area.
void SATOrder(Tree& tree);

// Sorts the children of every wide node by measured occlusions per cost; without any measured the
// tree stays as it is. Returns the expected cost of the root.
float ReorderTree(Tree& tree);

// Frees what only ReorderTree and PrepareWalk read: a third of the tree's memory.
void ReleaseWideNodes(Tree& tree);

} // namespace mh
