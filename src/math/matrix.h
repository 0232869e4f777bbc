// 4 by 4 and 3 by 3 matrices in rows; they act on column vectors: x' = m00 x + m01 y + m02 z + m03.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/vec3.h"

namespace mh {

struct Mat3 {
    float m[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
};

struct Mat4 {
    float m[4][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}};
};

constexpr Vec3 operator*(const Mat3& a, const Vec3& v) {
    return {a.m[0][0] * v.x + a.m[0][1] * v.y + a.m[0][2] * v.z,
            a.m[1][0] * v.x + a.m[1][1] * v.y + a.m[1][2] * v.z,
            a.m[2][0] * v.x + a.m[2][1] * v.y + a.m[2][2] * v.z};
}

Mat3 operator*(const Mat3& a, const Mat3& b);
Mat4 operator*(const Mat4& a, const Mat4& b);
Mat3 transpose(const Mat3& a);
Mat3 upper_left(const Mat4& a);

// The point with the division by w, the last row's value.
constexpr Vec3 transform_point(const Mat4& a, const Vec3& p) {
    const float w = a.m[3][0] * p.x + a.m[3][1] * p.y + a.m[3][2] * p.z + a.m[3][3];
    return Vec3{a.m[0][0] * p.x + a.m[0][1] * p.y + a.m[0][2] * p.z + a.m[0][3],
                a.m[1][0] * p.x + a.m[1][1] * p.y + a.m[1][2] * p.z + a.m[1][3],
                a.m[2][0] * p.x + a.m[2][1] * p.y + a.m[2][2] * p.z + a.m[2][3]}
           / w;
}

// Inverse, computed in double. Returns false and leaves the result alone when the matrix is
// singular or either matrix is not finite.
bool invert(const Mat4& a, Mat4& inverse);
bool invert(const Mat3& a, Mat3& inverse);

} // namespace mh
