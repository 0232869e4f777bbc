// Placement of parts by an affine matrix; phase 0, when their file has been read.
// SPDX-License-Identifier: MIT
#include "geometry/placement.h"

#include "geometry/objects.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

namespace mh {

namespace {

double determinant(const Mat3& a) {
    const auto& m = a.m;
    const auto of_columns_1_2 = [&](int r, int s) {
        return static_cast<double>(m[r][1]) * m[s][2] - static_cast<double>(m[r][2]) * m[s][1];
    };
    return m[0][0] * of_columns_1_2(1, 2) - m[1][0] * of_columns_1_2(0, 2)
           + m[2][0] * of_columns_1_2(0, 1);
}

void turn(std::vector<PackedUnit>& units, const Mat3& matrix) {
    for (PackedUnit& unit : units)
        if (!is_zero(unit)) unit = pack_unit(matrix * unpack_unit(unit));
}

void reverse_faces(Part& part) {
    for (Triangle& t : part.triangles)
        std::swap(t.vertex[1], t.vertex[2]);
    for (Tetragon& t : part.tetragons)
        std::swap(t.vertex[1], t.vertex[3]);
}

bool is_identity(const Mat4& matrix) {
    const Mat4 identity;
    for (int row = 0; row < 4; ++row)
        for (int column = 0; column < 4; ++column)
            if (matrix.m[row][column] != identity.m[row][column]) return false;
    return true;
}

} // namespace

Mat4 Translation(const Vec3& by) {
    return {{{1, 0, 0, by.x}, {0, 1, 0, by.y}, {0, 0, 1, by.z}, {0, 0, 0, 1}}};
}

// The formula of Rodrigues: v cos + (a x v) sin + a (a v) (1 - cos).
Mat4 Rotation(float degrees, const Vec3& axis) {
    const double size = std::hypot(axis.x, axis.y, axis.z);
    if (!(size > 0.0)) return {};
    const double x = axis.x / size, y = axis.y / size, z = axis.z / size;
    const double angle_rad = static_cast<double>(degrees) * std::numbers::pi / 180.0;
    const double c = std::cos(angle_rad), s = std::sin(angle_rad), d = 1.0 - c;
    const auto f = [](double value) { return static_cast<float>(value); };
    return {{{f(c + x * x * d), f(x * y * d - z * s), f(x * z * d + y * s), 0},
             {f(y * x * d + z * s), f(c + y * y * d), f(y * z * d - x * s), 0},
             {f(z * x * d - y * s), f(z * y * d + x * s), f(c + z * z * d), 0},
             {0, 0, 0, 1}}};
}

Mat4 Scaling(const Vec3& factors) {
    return {{{factors.x, 0, 0, 0}, {0, factors.y, 0, 0}, {0, 0, factors.z, 0}, {0, 0, 0, 1}}};
}

bool IsPlacement(const Mat4& matrix) {
    const auto& last = matrix.m[3];
    Mat4 inverse;
    return last[0] == 0.0f && last[1] == 0.0f && last[2] == 0.0f && last[3] == 1.0f
           && invert(matrix, inverse);
}

void PlacePart(Part& part, const Mat4& matrix) {
    Mat3 inverse;
    const Mat3 linear = upper_left(matrix);
    if (is_identity(matrix) || !invert(linear, inverse)) return;
    for (Vec3& p : part.positions)
        p = transform_point(matrix, p);
    turn(part.normals, transpose(inverse));
    turn(part.tangents, linear);
    const double volume = determinant(linear);
    for (float& radius : radii(part))
        radius *= static_cast<float>(std::cbrt(std::fabs(volume)));
    if (volume < 0.0) reverse_faces(part);
}

void FitPart(Part& part, float size) {
    Aabb box;
    for (const Vec3& p : part.positions)
        merge(box, p);
    const Vec3 extent = box.max - box.min, middle = center(box);
    const float longest = std::max({extent.x, extent.y, extent.z});
    if (!(longest > 0.0f) || !std::isfinite(longest)) return;
    const Mat4 scaling = Scaling(splat(size / longest));
    PlacePart(part, scaling * Translation({-middle.x, -middle.y, -box.min.z}));
}

} // namespace mh
