// Points, directions and linear RGB colours as three floats; texture coordinates as two.
// All operations are per component and evaluate in the order written: results are bit-reproducible.
// SPDX-License-Identifier: MIT
#pragma once

#include <cmath>

namespace mh {

struct Vec2 {
    float x = 0.0f, y = 0.0f;
};

struct Vec3 {
    float x = 0.0f, y = 0.0f, z = 0.0f;
};

constexpr Vec3 splat(float s) {
    return {s, s, s};
}

constexpr Vec2 operator+(const Vec2& a, const Vec2& b) {
    return {a.x + b.x, a.y + b.y};
}

constexpr Vec2 operator-(const Vec2& a, const Vec2& b) {
    return {a.x - b.x, a.y - b.y};
}

constexpr Vec2 operator*(const Vec2& a, float s) {
    return {a.x * s, a.y * s};
}

constexpr Vec2 operator*(float s, const Vec2& a) {
    return a * s;
}

constexpr bool operator==(const Vec2& a, const Vec2& b) {
    return a.x == b.x && a.y == b.y;
}

constexpr Vec3 operator-(const Vec3& a) {
    return {-a.x, -a.y, -a.z};
}

constexpr Vec3 operator+(const Vec3& a, const Vec3& b) {
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}

constexpr Vec3 operator-(const Vec3& a, const Vec3& b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}

constexpr Vec3 operator*(const Vec3& a, const Vec3& b) {
    return {a.x * b.x, a.y * b.y, a.z * b.z};
}

constexpr Vec3 operator/(const Vec3& a, const Vec3& b) {
    return {a.x / b.x, a.y / b.y, a.z / b.z};
}

constexpr Vec3 operator*(const Vec3& a, float s) {
    return {a.x * s, a.y * s, a.z * s};
}

constexpr Vec3 operator*(float s, const Vec3& a) {
    return a * s;
}

constexpr Vec3 operator/(const Vec3& a, float s) {
    return {a.x / s, a.y / s, a.z / s};
}

constexpr Vec3& operator+=(Vec3& a, const Vec3& b) {
    return a = a + b;
}

constexpr Vec3& operator-=(Vec3& a, const Vec3& b) {
    return a = a - b;
}

constexpr Vec3& operator*=(Vec3& a, const Vec3& b) {
    return a = a * b;
}

constexpr Vec3& operator*=(Vec3& a, float s) {
    return a = a * s;
}

constexpr bool operator==(const Vec3& a, const Vec3& b) {
    return a.x == b.x && a.y == b.y && a.z == b.z;
}

constexpr float dot(const Vec3& a, const Vec3& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

constexpr Vec3 cross(const Vec3& a, const Vec3& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

constexpr Vec3 min(const Vec3& a, const Vec3& b) {
    return {a.x < b.x ? a.x : b.x, a.y < b.y ? a.y : b.y, a.z < b.z ? a.z : b.z};
}

constexpr Vec3 max(const Vec3& a, const Vec3& b) {
    return {a.x > b.x ? a.x : b.x, a.y > b.y ? a.y : b.y, a.z > b.z ? a.z : b.z};
}

constexpr float sum(const Vec3& a) {
    return a.x + a.y + a.z;
}

constexpr float mean(const Vec3& a) {
    return (a.x + a.y + a.z) * 0.33333334f;
}

constexpr float max_channel(const Vec3& a) {
    const float xy = a.x > a.y ? a.x : a.y;
    return xy > a.z ? xy : a.z;
}

constexpr float min_channel(const Vec3& a) {
    const float xy = a.x < a.y ? a.x : a.y;
    return xy < a.z ? xy : a.z;
}

// Whether some channel exceeds the limit; NaN channels don't.
constexpr bool any_above(const Vec3& a, float limit) {
    return a.x > limit || a.y > limit || a.z > limit;
}

inline bool is_finite(const Vec3& a) {
    return std::isfinite(a.x) && std::isfinite(a.y) && std::isfinite(a.z);
}

} // namespace mh
