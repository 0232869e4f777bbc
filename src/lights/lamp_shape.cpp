// Sampling of triangles and parallelograms by solid angle.
// SPDX-License-Identifier: MIT
#include "lights/lamp_shape.h"

#include "math/angles.h"
#include "math/constants.h"
#include "math/roots.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace mh {

namespace {

// Points of lamps that fill less, at the distance of their nearest point, are drawn by area: that
// is quicker, and the density varies little there.
constexpr float kSmallAngle = 0.5f; // steradians

// Below it angles lose their digits.
constexpr float kSmallestAngle = 0.03f;

Vec3 direction_to(const Vec3& from, const Vec3& to) {
    return unit_direction(to - from);
}

// Angle of a spherical triangle at a, between the arcs to b and to c.
float corner_angle(const Vec3& a, const Vec3& b, const Vec3& c) {
    const Vec3 ab = cross(a, b), ac = cross(a, c);
    return std::atan2(length(cross(ab, ac)), dot(ab, ac));
}

// The direction on the arc from a to c at cosine q with a.
Vec3 along_arc(const Vec3& a, const Vec3& c, float q) {
    const Vec3 across = unit_direction(c - dot(c, a) * a);
    return q * a + std::sqrt(std::max(1.0f - q * q, 0.0f)) * across;
}

// Evenly over the spherical triangle of this solid angle [Arvo95].
Vec3 sample_spherical_triangle(const Vec3& a, const Vec3& b, const Vec3& c, float angle,
                               const Vec2& uv) {
    const float alpha = corner_angle(a, b, c);
    const float sine = std::sin(alpha), cosine = std::cos(alpha);
    const float part = uv.x * angle - alpha;
    const float s = std::sin(part), t = std::cos(part);
    const float u = t - cosine, v = s + sine * dot(a, b);
    const float divisor = (v * s + u * t) * sine;
    const float q = divisor != 0.0f ? ((v * t - u * s) * cosine - v) / divisor : 1.0f;
    const Vec3 c_part = along_arc(a, c, std::clamp(q, -1.0f, 1.0f));
    return along_arc(b, c_part, 1.0f - uv.y * (1.0f - dot(c_part, b)));
}

// A rectangle as seen by the viewer, in the frame of its edges and its normal: it lies in the plane
// z = z0 < 0 [Urena13].
struct SeenRectangle {
    float x0 = 0.0f, x1 = 0.0f, y0 = 0.0f, y1 = 0.0f, z0 = 0.0f;
    float b0 = 0.0f, b1 = 0.0f, k = 0.0f;
    float angle = 0.0f; // solid
};

SeenRectangle see(const Lamp& lamp, const Vec3& from) {
    SeenRectangle seen;
    const Vec3 d = lamp.corner - from;
    seen.x0 = dot(d, lamp.along_u);
    seen.y0 = dot(d, lamp.along_v);
    seen.z0 = dot(d, lamp.normal);
    seen.x1 = seen.x0 + lamp.length_u;
    seen.y1 = seen.y0 + lamp.length_v;
    // Of the planes through the viewer and an edge: z components of the normals, and the angles
    // between neighbours.
    const std::array<float, 4> edges = {-seen.y0, seen.x1, seen.y1, -seen.x0};
    std::array<float, 5> normals;
    std::array<float, 4> angles;
    for (std::size_t i = 0; i < edges.size(); ++i)
        normals[i] = edges[i] / std::sqrt(seen.z0 * seen.z0 + edges[i] * edges[i]);
    normals[4] = normals[0];
    for (std::size_t i = 0; i < angles.size(); ++i)
        angles[i] = arc_cosine(-normals[i] * normals[i + 1]);
    seen.b0 = normals[0];
    seen.b1 = normals[2];
    seen.k = kTwoPi - angles[2] - angles[3];
    seen.angle = angles[0] + angles[1] - seen.k;
    return seen;
}

LampPoint sample_rectangle(const Lamp& lamp, const SeenRectangle& seen, const Vec2& uv) {
    constexpr float kAlmostOne = 1.0f - 1e-6f;
    const float turn = uv.x * seen.angle + seen.k;
    const float f = (std::cos(turn) * seen.b0 - seen.b1) / std::sin(turn);
    const float root = std::sqrt(f * f + seen.b0 * seen.b0);
    const float cu = std::clamp(std::copysign(1.0f / root, f), -1.0f, 1.0f);
    const float xu =
        std::clamp(-(cu * seen.z0) / std::sqrt(std::max(1.0f - cu * cu, 1e-12f)), seen.x0, seen.x1);
    const float d_square = xu * xu + seen.z0 * seen.z0;
    const float h0 = seen.y0 / std::sqrt(d_square + seen.y0 * seen.y0);
    const float h1 = seen.y1 / std::sqrt(d_square + seen.y1 * seen.y1);
    const float h = std::lerp(h0, h1, uv.y);
    const float yv = h * h < kAlmostOne
                         ? h * std::sqrt(d_square) / std::sqrt(1.0f - h * h)
                         : std::copysign(std::max(std::fabs(seen.y0), std::fabs(seen.y1)), h);
    const Vec3 v = xu * lamp.along_u + yv * lamp.along_v + seen.z0 * lamp.normal;
    const float distance = std::sqrt(d_square + yv * yv);
    return {v / distance, distance, 1.0f / seen.angle};
}

// Directions to the corners; the last two are equal for a triangle.
struct SeenCorners {
    Vec3 a, b, c, d;
    float first = 0.0f, second = 0.0f; // solid angles of a, b, c and of a, c, d
};

SeenCorners see_corners(const Lamp& lamp, const Vec3& from) {
    SeenCorners seen;
    seen.a = direction_to(from, lamp.corner);
    seen.b = direction_to(from, lamp.corner + lamp.edge_u);
    const Vec3 far =
        lamp.triangle ? lamp.corner + lamp.edge_v : lamp.corner + lamp.edge_u + lamp.edge_v;
    seen.c = direction_to(from, far);
    seen.first = triangle_solid_angle(seen.a, seen.b, seen.c);
    if (lamp.triangle) return seen;
    seen.d = direction_to(from, lamp.corner + lamp.edge_v);
    seen.second = triangle_solid_angle(seen.a, seen.c, seen.d);
    return seen;
}

Vec3 sample_corners(const SeenCorners& seen, Vec2 uv) {
    const float share = seen.first / (seen.first + seen.second);
    if (uv.x < share)
        return sample_spherical_triangle(seen.a, seen.b, seen.c, seen.first, {uv.x / share, uv.y});
    return sample_spherical_triangle(seen.a, seen.c, seen.d, seen.second,
                                     {(uv.x - share) / (1.0f - share), uv.y});
}

// In the plane of the lamp; the density is that of the solid angle.
LampPoint in_direction(const Lamp& lamp, const Vec3& from, const Vec3& direction, float angle) {
    const float cosine = -dot(direction, lamp.normal);
    const float height = dot(from - lamp.corner, lamp.normal);
    if (!(cosine > 0.0f)) return {};
    return {direction, height / cosine, 1.0f / angle};
}

// From a point before the lamp, so that the distance is not 0.
LampPoint sample_area(const Lamp& lamp, const Vec3& from, const Vec2& uv) {
    Vec2 st = uv;
    if (lamp.triangle) {
        const float root = std::sqrt(uv.x);
        st = {root * (1.0f - uv.y), root * uv.y};
    }
    const Vec3 v = lamp.corner + st.x * lamp.edge_u + st.y * lamp.edge_v - from;
    const float square = dot(v, v), distance = std::sqrt(square);
    LampPoint point = {v / distance, distance};
    const float cosine = -dot(point.direction, lamp.normal);
    if (cosine > 0.0f) point.density = square / (cosine * lamp.area);
    return point;
}

// By an upper bound of the solid angle.
bool looks_small(const Lamp& lamp, const Vec3& from) {
    const Vec3 v = lamp.middle - from;
    return dot(v, v) > lamp.far_square;
}

bool shines_on(const Lamp& lamp, const Vec3& from) {
    return dot(from - lamp.corner, lamp.normal) > 0.0f;
}

// Apart from the samples of small ones, which are many.
[[gnu::noinline]] LampPoint sample_large(const Lamp& lamp, const Vec3& from, const Vec2& uv) {
    if (lamp.rectangle) {
        const SeenRectangle seen = see(lamp, from);
        if (seen.angle < kSmallestAngle) return sample_area(lamp, from, uv);
        return sample_rectangle(lamp, seen, uv);
    }
    const SeenCorners seen = see_corners(lamp, from);
    const float angle = seen.first + seen.second;
    if (angle < kSmallestAngle) return sample_area(lamp, from, uv);
    return in_direction(lamp, from, sample_corners(seen, uv), angle);
}

} // namespace

void FinishLamp(Lamp& lamp, bool along_product) {
    constexpr float kRightAngle = 1e-4f; // cosine
    const Vec3& u = lamp.edge_u;
    const Vec3& v = lamp.edge_v;
    lamp.middle = lamp.corner + 0.5f * (u + v);
    lamp.along_u = unit_direction(u);
    lamp.along_v = unit_direction(v);
    lamp.length_u = dot(u, lamp.along_u);
    lamp.length_v = dot(v, lamp.along_v);
    lamp.rectangle = !lamp.triangle && std::fabs(dot(lamp.along_u, lamp.along_v)) < kRightAngle;
    const Vec3 normal = cross(u, v);
    lamp.normal = (along_product ? 1.0f : -1.0f) * unit_direction(normal);
    lamp.area = std::sqrt(dot(normal, normal)) * (lamp.triangle ? 0.5f : 1.0f);
    const float radius = 0.5f * std::max(length(u + v), length(u - v));
    const float far = radius + std::sqrt(lamp.area / kSmallAngle);
    lamp.far_square = far * far;
}

LampPoint sample_lamp(const Lamp& lamp, const Vec3& from, const Vec2& uv) {
    if (!shines_on(lamp, from)) return {};
    return looks_small(lamp, from) ? sample_area(lamp, from, uv) : sample_large(lamp, from, uv);
}

float lamp_density(const Lamp& lamp, const Vec3& from, const Vec3& direction, float distance) {
    if (!shines_on(lamp, from)) return 0.0f;
    if (!looks_small(lamp, from)) {
        const SeenCorners seen = lamp.rectangle ? SeenCorners{} : see_corners(lamp, from);
        const float angle = lamp.rectangle ? see(lamp, from).angle : seen.first + seen.second;
        if (angle >= kSmallestAngle) return 1.0f / angle;
    }
    const float cosine = -dot(direction, lamp.normal);
    return cosine > 0.0f ? distance * distance / (cosine * lamp.area) : 0.0f;
}

Vec2 place_on(const Lamp& lamp, const Vec3& position) {
    const Vec3 v = position - lamp.corner;
    const float uu = dot(lamp.edge_u, lamp.edge_u), vv = dot(lamp.edge_v, lamp.edge_v);
    const float uv = dot(lamp.edge_u, lamp.edge_v);
    const float pu = dot(v, lamp.edge_u), pv = dot(v, lamp.edge_v);
    const float determinant = uu * vv - uv * uv;
    if (!(determinant > 0.0f)) return {};
    return {(pu * vv - pv * uv) / determinant, (pv * uu - pu * uv) / determinant};
}

float triangle_solid_angle(const Vec3& a, const Vec3& b, const Vec3& c) {
    const float volume = std::fabs(dot(a, cross(b, c)));
    return 2.0f * std::fabs(std::atan2(volume, 1.0f + dot(a, b) + dot(b, c) + dot(c, a)));
}

} // namespace mh
