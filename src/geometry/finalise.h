// Checks and completes a part before trees are built, and reports an object after.
// SPDX-License-Identifier: MIT
#pragma once

#include "geometry/types.h"

namespace mh {

// Mixed kinds, array sizes, shaders of faces that have none, primitives that cannot be traced.
void CheckPart(Part& part);

// CheckPart, hair parameters and tangents, winding, displacement, smoothing, spare memory.
void FinalisePart(Part& part);

// Counts, memory and bounds.
void ReportObject(const Object& object);

} // namespace mh
