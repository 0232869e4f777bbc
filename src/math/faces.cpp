// Areas of faces.
// SPDX-License-Identifier: MIT
#include "math/faces.h"

#include <cmath>

namespace mh {

namespace {

struct Edge {
    double x, y, z;
};

Edge edge(const Vec3& from, const Vec3& to) {
    return {double{to.x} - from.x, double{to.y} - from.y, double{to.z} - from.z};
}

float half_cross(const Edge& a, const Edge& b) {
    const double x = a.y * b.z - a.z * b.y, y = a.z * b.x - a.x * b.z, z = a.x * b.y - a.y * b.x;
    return static_cast<float>(0.5 * std::sqrt(x * x + y * y + z * z));
}

} // namespace

float triangle_area(const Vec3& p0, const Vec3& p1, const Vec3& p2) {
    return half_cross(edge(p0, p1), edge(p0, p2));
}

float tetragon_area(const Vec3& p0, const Vec3& p1, const Vec3& p2, const Vec3& p3) {
    return half_cross(edge(p0, p2), edge(p1, p3));
}

} // namespace mh
