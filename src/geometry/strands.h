// Strands of hair: cylinders from segment counts, and what hair parts get when they are finished.
// SPDX-License-Identifier: MIT
#pragma once

#include "geometry/types.h"

namespace mh {

// Appends the cylinders of strands that follow each other over the part's positions: a strand of n
// segments takes n + 1 points. The list ends where the points do: the last strand is cut and those
// without a point are left out. Returns whether that happened.
bool AddStrands(Part& part, const std::vector<std::uint32_t>& segments);

// Adds the array "parameter": the place along the strand in 0..1. A strand ends where a cylinder
// does not start at the end of the one before.
void AddStrandParameters(Part& part);

// Radii of all vertices: of a strand's first one to those of its last in even steps.
void SetRadii(Part& part, float root, float tip);

// Sums the edges that meet in a vertex to its unit tangent. As many vertices as there are cylinders
// get one, so the last ones, one per strand, keep what they have: zero in a part from a file. With
// `whole_strands` all get one.
void AddStrandTangents(Part& part);

// How many vertices get one. Segments between two of the others are not drawn.
std::size_t TangentCount(const Part& part);

} // namespace mh
