// Boxes of primitives and of instances, and the matrices of instances.
// SPDX-License-Identifier: MIT
#pragma once

#include "accel/types.h"
#include "geometry/types.h"

namespace mh {

Aabb particle_bounds(const Part& part, std::uint32_t index);
// The nine curve samples, enlarged by the radius of the first vertex.
Aabb cylinder_bounds(const Part& part, std::uint32_t index);
Aabb triangle_bounds(const Part& part, std::uint32_t index);
Aabb tetragon_bounds(const Part& part, std::uint32_t index);

// Box of what the reference names, in the object's space.
Aabb reference_bounds(const Object& object, const PrimitiveRef& ref);

// Box of a child; inverted for an empty slot.
Aabb slot_box(const WideNode& node, int slot);

// Derives inverse, normal matrix, block and world box from the matrix and the target's box, and
// decides whether the instance is usable. After the target's tree was made.
void UpdateInstance(Instance& instance);

} // namespace mh
