// The primitive tests as formulas, over all primitives and instances.
// SPDX-License-Identifier: MIT
#include "ray_oracle.h"

#include "accel/bounds.h"
#include "accel/state.h"
#include "geometry/objects.h"
#include "geometry/state.h"
#include "shading/state.h"

#include <algorithm>
#include <cmath>
#include <functional>

namespace mh::test {

namespace {

struct Double3 {
    double x = 0.0, y = 0.0, z = 0.0;
};

Double3 wide(const Vec3& v) {
    return {v.x, v.y, v.z};
}

Vec3 narrow(const Double3& v) {
    return {static_cast<float>(v.x), static_cast<float>(v.y), static_cast<float>(v.z)};
}

Double3 operator+(const Double3& a, const Double3& b) {
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}

Double3 operator-(const Double3& a, const Double3& b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}

Double3 operator*(double s, const Double3& a) {
    return {s * a.x, s * a.y, s * a.z};
}

double dot(const Double3& a, const Double3& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

Double3 cross(const Double3& a, const Double3& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

double length(const Double3& a) {
    return std::sqrt(dot(a, a));
}

using Report = std::function<void(double distance, double slope, double inside, bool in_box,
                                  const Double3& parameters)>;

struct Line {
    Double3 origin, direction;
};

// Each tells a distance, the cosine that divided it, negative on the front, how far inside of all
// limits the ray runs, below 0 for outside, whether the primitive's box holds the place: that of a
// bent quad or of a hair which widens or bends need not, and the parameters of the hit.
void meet_triangle(const Part& part, std::uint32_t i, const Line& ray, const Report& report) {
    const auto& v = part.triangles[i].vertex;
    const Double3 p0 = wide(part.positions[v[0]]) - ray.origin;
    const Double3 e1 = wide(part.positions[v[1]]) - wide(part.positions[v[0]]);
    const Double3 e2 = wide(part.positions[v[2]]) - wide(part.positions[v[0]]);
    const Double3 n = cross(e1, e2);
    const double d = dot(n, ray.direction), t = dot(n, p0) / d;
    const Double3 in_plane = t * ray.direction - p0;
    const double b1 = dot(cross(in_plane, e2), n) / dot(n, n);
    const double b2 = dot(cross(e1, in_plane), n) / dot(n, n);
    report(t, d / length(n), std::min({b1, b2, 1.0 - b1 - b2}), true, {1.0 - b1 - b2, b1, b2});
}

void meet_tetragon(const Part& part, std::uint32_t i, const Line& ray, const Report& report) {
    Double3 p[4];
    for (std::size_t k = 0; k < 4; ++k)
        p[k] = wide(part.positions[part.tetragons[i].vertex[k]]) - ray.origin;
    const Double3 n = cross(p[2] - p[0], p[3] - p[1]);
    const double d = dot(n, ray.direction);
    double inside = 1.0, sum = 0.0, e[4]; // e: how far from each edge
    for (std::size_t k = 0; k < 4; ++k) {
        e[k] = dot(ray.direction, cross(p[k], p[(k + 1) % 4]));
        inside = std::min(inside, d > 0.0 ? e[k] : -e[k]);
        sum += std::fabs(e[k]);
    }
    const double t = dot(n, p[0]) / d;
    const Vec3 place = narrow(ray.origin + t * ray.direction);
    report(t, d / length(n), inside / sum, contains(tetragon_bounds(part, i), place),
           {e[0] / (e[0] + e[2]), e[3] / (e[3] + e[1]), 0.0});
}

void meet_particle(const Part& part, std::uint32_t i, const Line& ray, bool shadow,
                   const Report& report) {
    const std::uint32_t vertex = part.particles[i];
    const double radius = radii(part)[vertex];
    const Double3 to_center = wide(part.positions[vertex]) - ray.origin;
    const double square = dot(ray.direction, ray.direction);
    const double b = dot(to_center, ray.direction) / square;
    const double h = b * b * square - dot(to_center, to_center) + radius * radius;
    const double s = shadow ? h : h > 1e-10 ? std::sqrt(h) : 1e-5;
    const bool outside = dot(to_center, to_center) > radius * radius;
    const double slope = (outside ? -1.0 : 1.0) * std::sqrt(std::fabs(h));
    for (const double t : {b - s, b + s})
        report(t, slope, h, true, t * ray.direction - to_center);
}

void meet_cylinder(const Part& part, std::uint32_t i, const Line& ray, const Report& report) {
    const std::uint32_t a = part.cylinders[i];
    const Double3 p0 = wide(part.positions[a]), p1 = wide(part.positions[a + 1]);
    const Double3 t0 = wide(unpack_unit(part.tangents[a]));
    const Double3 t1 = wide(unpack_unit(part.tangents[a + 1]));
    const auto curve = [&](double u) {
        return p0 + (3 * u * u - 2 * u * u * u) * (p1 - p0) + (u * u * u - 2 * u * u + u) * t0
               + (u * u * u - u * u) * t1;
    };
    const Aabb box = cylinder_bounds(part, i);
    for (int k = 0; k < 8; ++k) {
        const double begin = k / 8.0, end = (k + 1) / 8.0;
        const Double3 from = curve(begin), to = curve(end);
        const double radius = radii(part)[a] * (1.0 - k / 7.0) + radii(part)[a + 1] * (k / 7.0);
        const Double3 m = cross(ray.direction, to - from);
        const double off = dot(m, from - ray.origin) / length(m);
        const Double3 facing = cross(to - from, m);
        const double slope = dot(facing, ray.direction) / length(facing);
        const double t = dot(facing, from - ray.origin) / dot(facing, ray.direction);
        const Double3 x = ray.origin + t * ray.direction;
        const double behind = dot(t0 + begin * (t1 - t0), x - from);
        const double ahead = dot(t0 + end * (t1 - t0), x - to);
        report(t, -slope * slope, std::min({radius - std::fabs(off), behind, -ahead}),
               contains(box, narrow(x)), {off / radius, 0.0, 0.5 * (begin + end)});
    }
}

// All that a ray meets, in any order, with the rules of exclusion and visibility.
struct Oracle {
    Query query;
    const Ray& ray;
    std::vector<Meeting> met;
};

bool visible(std::uint32_t shader, const Ray& ray) {
    const auto value = static_cast<int>(Shaders[shader].visibility);
    return value != 0 && (ray.depth != 0 || value != (ray.photon ? 1 : 2));
}

bool excluded(const Oracle& oracle, PrimitiveKind kind, std::uint32_t index) {
    const auto is = [&](HitKind k, std::int32_t i) {
        return static_cast<int>(k) == static_cast<int>(kind)
               && static_cast<std::uint32_t>(i) == index;
    };
    const Ray& ray = oracle.ray;
    if (oracle.query == Query::probe && kind == PrimitiveKind::triangle) return false;
    return is(ray.source_kind, ray.source_primitive)
           || (oracle.query == Query::shadow && is(ray.hit_kind, ray.hit_primitive));
}

void meet_part(Oracle& oracle, const Part& part, const Line& line, int level) {
    const auto each = [&](PrimitiveKind kind, std::size_t count, const auto& shader_of,
                          const auto& meet) {
        for (std::uint32_t i = 0; i < count; ++i) {
            if (excluded(oracle, kind, i) || !visible(shader_of(i), oracle.ray)) continue;
            meet(i, [&](double t, double slope, double inside, bool in_box, const Double3& at) {
                const double doubt = kDoubt / std::max(std::fabs(slope), 1e-4);
                if (!(inside > -kDoubt) || !(t > -doubt)) return;
                const bool sure = in_box && inside > kDoubt && t > doubt && std::fabs(slope) > 1e-3;
                oracle.met.push_back(
                    {t, doubt, sure, slope < 0.0, narrow(at), kind, i, shader_of(i), &part, level});
            });
        }
    };
    const auto of_part = [&](std::uint32_t) { return part.shader_id; };
    const auto of_triangle = [&](std::uint32_t i) { return part.triangles[i].shader; };
    const auto of_tetragon = [&](std::uint32_t i) { return part.tetragons[i].shader; };
    each(PrimitiveKind::triangle, part.triangles.size(), of_triangle,
         [&](std::uint32_t i, const Report& r) { meet_triangle(part, i, line, r); });
    each(PrimitiveKind::tetragon, part.tetragons.size(), of_tetragon,
         [&](std::uint32_t i, const Report& r) { meet_tetragon(part, i, line, r); });
    if (oracle.query == Query::probe) return;
    const bool shadow = oracle.query == Query::shadow;
    each(PrimitiveKind::particle, part.particles.size(), of_part,
         [&](std::uint32_t i, const Report& r) { meet_particle(part, i, line, shadow, r); });
    each(PrimitiveKind::cylinder, part.cylinders.size(), of_part,
         [&](std::uint32_t i, const Report& r) { meet_cylinder(part, i, line, r); });
}

void meet_object(Oracle& oracle, const Object& object, const Line& line, int level) {
    for (const Part& part : object.parts)
        meet_part(oracle, part, line, level);
    for (const Instance& instance : object.instances) {
        const auto& m = instance.inverse.m;
        const auto row = [&](int r, const Double3& v) {
            return double{m[r][0]} * v.x + double{m[r][1]} * v.y + double{m[r][2]} * v.z;
        };
        const auto moved = [&](const Double3& v) {
            return Double3{row(0, v), row(1, v), row(2, v)};
        };
        const Double3 shift = {m[0][3], m[1][3], m[2][3]}, direction = moved(line.direction);
        const double unit = oracle.query == Query::closest ? 1.0 / length(direction) : 1.0;
        meet_object(oracle, Objects[instance.object],
                    {moved(line.origin) + shift, unit * direction}, level + 1);
    }
}

} // namespace

std::vector<Meeting> all_meetings(Query query, const Ray& ray) {
    Oracle oracle = {query, ray, {}};
    meet_object(oracle, Objects[RootObjectIndex], {wide(ray.origin), wide(ray.direction)}, 0);
    return oracle.met;
}

} // namespace mh::test
