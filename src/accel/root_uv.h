// Texture coordinates of hair strands from the surface they grow on.
// SPDX-License-Identifier: MIT
#pragma once

#include "accel/types.h"
#include "geometry/types.h"

namespace mh {

// Writes the uv of the nearest face under each strand's root to all its vertices; a root outside
// every box of the tree keeps (0, 0). After the object's tree is built.
void TransferRootUvs(Object& object, const Tree& tree);

} // namespace mh
