// Lists of an object's emitting primitives with a distribution over their areas.
// SPDX-License-Identifier: MIT
#pragma once

#include "accel/types.h"
#include "geometry/types.h"

namespace mh {

// After the lists of all instanced objects; shaders are finished.
void MakeLightLists(const Object& object, LightLists& lists);

} // namespace mh
