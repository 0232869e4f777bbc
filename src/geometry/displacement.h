// Tessellation of faces into curved patches that are moved by the displacement layers of their
// shader.
// SPDX-License-Identifier: MIT
#pragma once

#include "geometry/types.h"

namespace mh {

// Applies the layers in order; needs smoothed normals. Adds its time to DisplacementTimeMs.
void Displace(Part& part);

} // namespace mh
