// Areas of faces.
// SPDX-License-Identifier: MIT
#include "math/faces.h"

namespace mh {

namespace {

float square(const Vec3& v) {
    return dot(v, v);
}

} // namespace

float triangle_area(const Vec3& p0, const Vec3& p1, const Vec3& p2) {
    const float a = square(p1 - p0), b = square(p2 - p1), c = square(p0 - p2);
    const float total = a + b + c;
    return 0.25f * safe_root(total * total - 2.0f * (a * a + b * b + c * c));
}

float tetragon_area(const Vec3& p0, const Vec3& p1, const Vec3& p2, const Vec3& p3) {
    const float a = square(p1 - p0), b = square(p2 - p1), c = square(p3 - p2), d = square(p0 - p3);
    const float t = a - b + c - d;
    return 0.25f * safe_root(4.0f * square(p2 - p0) * square(p3 - p1) - t * t);
}

} // namespace mh
