// Steps that place the content of a geometry file: they are baked into the part when it is read.
// SPDX-License-Identifier: MIT
#pragma once

#include "geometry/types.h"

namespace mh {

// Affine matrices of single steps; they act on column vectors, so that a later step multiplies
// from the left.
Mat4 Translation(const Vec3& by);
Mat4 Rotation(float degrees, const Vec3& axis); // right-handed; an axis of length 0 turns nothing
Mat4 Scaling(const Vec3& factors);

// Whether the last row is 0 0 0 1 and the rest can be inverted.
bool IsPlacement(const Mat4& matrix);

// Moves points, and turns normals and tangents with them; radii grow by the cube root of the
// volume's factor. A mirrored part has its faces wound the other way, so that fronts stay fronts.
void PlacePart(Part& part, const Mat4& matrix);

// Scales and moves the part: the longest side of its box becomes the size, and the box stands on
// z = 0 around the z axis.
void FitPart(Part& part, float size);

} // namespace mh
