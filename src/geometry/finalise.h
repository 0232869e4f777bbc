// Checks and completes a part before trees are built, and reports an object after.
// SPDX-License-Identifier: MIT
#pragma once

#include "geometry/types.h"

#include <string>

namespace mh {

// Reports mixed kinds, and arrays whose size differs from the positions', which are resized;
// gives faces without a shader the part's, and removes primitives that cannot be traced.
void CheckPart(Part& part);

// The error line on primitives with indices out of range or with coordinates that are not finite or
// beyond 1e18; empty without any.
std::string UntraceableFault(const Part& part);

// Removes primitives with indices out of range or with coordinates that are not finite or beyond
// 1e18; one error line reports how many.
void RemoveUntraceable(Part& part);

// CheckPart, hair parameters and tangents, winding, the split of tetragons that are not
// parallelograms, displacement, smoothing, spare memory.
void FinalisePart(Part& part);

// Counts, memory and bounds.
void ReportObject(const Object& object);

} // namespace mh
