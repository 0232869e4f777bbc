// Vertex normals and tangents of faces that meet within their shader's smooth angle.
// SPDX-License-Identifier: MIT
#pragma once

#include "geometry/types.h"

namespace mh {

// Rebuilds the vertices so that each has one normal; does nothing when no face has a shader with
// a smooth_angle of 0 or more. Adds its time to SmoothingTimeMs.
void Smooth(Part& part);

} // namespace mh
