// Matrices of nodes, in double.
// SPDX-License-Identifier: MIT
#pragma once

#include "import/map_scene.h"

namespace mh {

Matrix product(const Matrix& a, const Matrix& b);
Linear product(const Linear& a, const Linear& b);
Linear upper_left_of(const Matrix& m);
Vec3 moved(const Matrix& m, const Vec3& p);  // a point
Vec3 turned(const Linear& m, const Vec3& v); // a direction
double determinant(const Linear& m);
Linear cofactors(const Linear& m); // carries normals, up to a positive factor of the determinant

// m = turn stretch with a turn that is rigid and keeps handedness; the stretch mirrors where m
// does. False where m flattens space: then there is no such turn.
bool split_turn(const Linear& m, Linear& turn, Linear& stretch);

bool is_identity(const Linear& m);

} // namespace mh
