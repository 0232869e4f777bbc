// Ear clipping in a plane.
// SPDX-License-Identifier: MIT
#include "geometry/polygon.h"

#include <cmath>
#include <numeric>

namespace mh {

namespace {

struct Point {
    double x = 0.0, y = 0.0;
};

// Twice the area, above 0 for a turn to the left.
double turn(const Point& a, const Point& b, const Point& c) {
    return (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
}

// Normal of a polygon that need not be flat, by the areas of its shadows on the three planes
// [Sutherland74].
Vec3 normal_of(std::span<const Vec3> corners) {
    Vec3 normal;
    for (std::size_t i = 0; i < corners.size(); ++i) {
        const Vec3 a = corners[i] - corners[0];
        const Vec3 b = corners[(i + 1) % corners.size()] - corners[0];
        normal += cross(a, b);
    }
    return normal;
}

// The shadow on the plane of two axes that is largest, wound to the left.
std::vector<Point> flattened(std::span<const Vec3> corners) {
    const Vec3 n = normal_of(corners);
    const float x = std::fabs(n.x), y = std::fabs(n.y), z = std::fabs(n.z);
    std::vector<Point> points;
    for (const Vec3& p : corners) {
        Point point = {p.x, p.y};
        double side = n.z;
        if (x > y && x > z) {
            point = {p.y, p.z};
            side = n.x;
        } else if (y > z) {
            point = {p.z, p.x};
            side = n.y;
        }
        if (side < 0.0) point.x = -point.x;
        points.push_back(point);
    }
    return points;
}

struct Clipping {
    std::vector<Point> points;
    std::vector<std::uint32_t> left; // corners that are not cut off yet

    const Point& at(std::size_t i) const { return points[left[i % left.size()]]; }
};

bool holds(const Point& a, const Point& b, const Point& c, const Point& p) {
    return turn(a, b, p) >= 0.0 && turn(b, c, p) >= 0.0 && turn(c, a, p) >= 0.0;
}

bool same(const Point& a, const Point& b) {
    return a.x == b.x && a.y == b.y;
}

// Whether the corner after `i` turns left, and no other corner lies in its triangle.
bool is_ear(const Clipping& clipping, std::size_t i) {
    const Point &a = clipping.at(i), &b = clipping.at(i + 1), &c = clipping.at(i + 2);
    if (!(turn(a, b, c) > 0.0)) return false;
    for (std::size_t k = i + 3; k < i + clipping.left.size(); ++k) {
        const Point& p = clipping.at(k);
        if (!same(p, a) && !same(p, b) && !same(p, c) && holds(a, b, c, p)) return false;
    }
    return true;
}

// The first ear from a place on; without one, any corner.
std::size_t next_ear(const Clipping& clipping, std::size_t from) {
    for (std::size_t i = from; i < from + clipping.left.size(); ++i)
        if (is_ear(clipping, i)) return i;
    return from;
}

} // namespace

std::vector<PolygonTriangle> SplitPolygon(std::span<const Vec3> corners) {
    std::vector<PolygonTriangle> triangles;
    if (corners.size() < 3) return triangles;
    Clipping clipping = {flattened(corners), std::vector<std::uint32_t>(corners.size())};
    std::iota(clipping.left.begin(), clipping.left.end(), 0u);
    for (std::size_t from = 0; clipping.left.size() > 3;) {
        const std::size_t count = clipping.left.size();
        const std::size_t i = next_ear(clipping, from);
        const std::size_t middle = (i + 1) % count;
        triangles.push_back(
            {clipping.left[i % count], clipping.left[middle], clipping.left[(i + 2) % count]});
        clipping.left.erase(clipping.left.begin() + static_cast<std::ptrdiff_t>(middle));
        from = middle % clipping.left.size(); // elsewhere: fans of thin triangles are rarer
    }
    triangles.push_back({clipping.left[0], clipping.left[1], clipping.left[2]});
    return triangles;
}

} // namespace mh
