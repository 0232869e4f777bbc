// Lists of an object's emitting primitives with a distribution over their areas.
// SPDX-License-Identifier: MIT
#pragma once

#include "geometry/types.h"

namespace mh {

// After the lists of all instanced objects; shaders are finished.
void MakeLightLists(Object& object);

} // namespace mh
