// Leaf-order copies of what the walks read: run once per object when its tree has been made.
// SPDX-License-Identifier: MIT
#pragma once

#include "geometry/types.h"

namespace mh {

// Fills Tree::leaves from references, parts and shaders. Call after SATOrder, at the end of the
// setup of an object; ReorderTree needs no second call. The walks see nothing of an object before.
void PrepareWalk(Object& object);

} // namespace mh
