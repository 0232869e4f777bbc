// Vertex normals and tangents from the faces that meet at a position. Corners at equal positions
// form a group; groups are independent of each other, so threads take runs of them, and the
// vertices that they make are numbered in the order of the groups whatever the number of threads.
// SPDX-License-Identifier: MIT
#include "geometry/smoothing.h"

#include "geometry/direction_set.h"
#include "geometry/objects.h"
#include "geometry/state.h"
#include "geometry/vertex_data.h"
#include "geometry/weld_table.h"
#include "math/at.h"
#include "math/clock.h"
#include "math/faces.h"
#include "math/frame.h"
#include "math/roots.h"
#include "math/threads.h"
#include "run/report.h"
#include "shading/state.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace mh {

namespace {

// Smaller parts are done sooner than a team of threads starts.
constexpr std::size_t kSmallPart = 2048; // faces or vertices

enum class Smoothness : std::uint8_t { flat, kept, angle };

// What a shader's smooth_angle asks for.
struct SmoothRule {
    Smoothness smoothness = Smoothness::kept;
    float smallest_cosine = 0.0f; // of directions that are averaged
};

using SmoothRules = std::map<std::uint32_t, SmoothRule>; // of the shaders that a part's faces name

struct FaceFrame {
    Vec3 normal, tangent;
    SmoothRule rule;
};

struct FaceCorner {
    std::uint32_t face = 0; // triangles, then tetragons
    std::uint32_t corner = 0;
};

// A vertex to be made: a copy of an old one with its own frame.
struct NewVertex {
    std::uint32_t old_vertex = 0;
    PackedUnit normal, tangent;
};

struct Smoothing {
    Part& part;
    std::vector<FaceFrame> frames; // per face
    std::vector<std::uint32_t> group_start;
    std::vector<FaceCorner> corners; // group after group
};

// What one thread makes of its groups.
struct Run {
    std::size_t first_group = 0, last_group = 0;
    std::vector<NewVertex> vertices;
    DirectionSet normals, tangents; // of the corners of one group
    WeldTable table;                // of the vertices of a large group
};

// The smallest float whose acosf is strictly below the angle, 0 < angle. acosf falls, so that
// comparing cosines with it decides exactly as comparing angles does.
float smallest_cosine_within(float angle_rad) {
    float outside = -1.0f, inside = 1.0f;
    if (std::acos(outside) < angle_rad) return -kFar;
    for (;;) {
        const float middle = 0.5f * (outside + inside);
        if (middle == outside || middle == inside) return inside;
        (std::acos(middle) < angle_rad ? inside : outside) = middle;
    }
}

SmoothRule rule_of(float smooth_angle_deg) {
    if (smooth_angle_deg == 0.0f) return {Smoothness::flat, 0.0f};
    if (!(smooth_angle_deg > 0.0f)) return {Smoothness::kept, 0.0f};
    return {Smoothness::angle, smallest_cosine_within(smooth_angle_deg * kRadiansPerDegree)};
}

template<typename Face>
void add_rules(const std::vector<Face>& faces, SmoothRules& rules) {
    for (const Face& face : faces) {
        const auto [entry, added] = rules.try_emplace(face.shader);
        if (added) entry->second = rule_of(Shaders[face.shader].smooth_angle);
    }
}

template<typename Face>
bool any_smoothed(const std::vector<Face>& faces) {
    return std::any_of(faces.begin(), faces.end(), [](const Face& face) {
        return face.shader < Shaders.size() && Shaders[face.shader].smooth_angle >= 0.0f;
    });
}

template<typename Face>
bool all_in_range(const std::vector<Face>& faces, std::size_t vertices) {
    return std::all_of(faces.begin(), faces.end(), [&](const Face& face) {
        return *std::max_element(face.vertex.begin(), face.vertex.end()) < vertices
               && face.shader < Shaders.size();
    });
}

bool same_uv(const Vec2& a, const Vec2& b) {
    constexpr float kSame = 1e-8f; // in texture coordinates
    return std::fabs(a.x - b.x) < kSame && std::fabs(a.y - b.y) < kSame;
}

Vec3 any_tangent(const Vec3& normal) {
    Vec3 tangent, bitangent;
    tangent_frame(normal, tangent, bitangent);
    return tangent;
}

// Direction of growing u on the face of three corners; any direction in the face without uvs.
Vec3 face_tangent(const Part& part, const std::uint32_t* v, const Vec3& normal) {
    const std::vector<Vec2>& uv = uvs(part);
    const std::size_t covered = std::min(uv.size(), part.tangents.size());
    if (v[0] >= covered || v[1] >= covered || v[2] >= covered) return any_tangent(normal);
    const Vec2 uv0 = uv[v[0]], uv1 = uv[v[1]], uv2 = uv[v[2]];
    if (same_uv(uv0, uv1) && same_uv(uv0, uv2) && same_uv(uv1, uv2)) return any_tangent(normal);
    const Vec3 e1 = part.positions[v[1]] - part.positions[v[0]];
    const Vec3 e2 = part.positions[v[2]] - part.positions[v[0]];
    return unit_direction(e1 * (uv2.y - uv0.y) - e2 * (uv1.y - uv0.y));
}

FaceFrame frame_of(const Part& part, const SmoothRules& rules, const Triangle& face) {
    const std::vector<Vec3>& p = part.positions;
    const auto& v = face.vertex;
    const Vec3 normal = triangle_normal(p[v[0]], p[v[1]], p[v[2]]);
    return {normal, face_tangent(part, v.data(), normal), rules.at(face.shader)};
}

FaceFrame frame_of(const Part& part, const SmoothRules& rules, const Tetragon& face) {
    const std::vector<Vec3>& p = part.positions;
    const auto& v = face.vertex;
    const Vec3 normal = tetragon_normal(p[v[0]], p[v[1]], p[v[2]], p[v[3]]);
    return {normal, face_tangent(part, v.data(), normal), rules.at(face.shader)};
}

std::vector<FaceFrame> face_frames(const Part& part) {
    SmoothRules rules;
    add_rules(part.triangles, rules);
    add_rules(part.tetragons, rules);
    const std::size_t triangles = part.triangles.size();
    std::vector<FaceFrame> frames(triangles + part.tetragons.size());
#pragma omp parallel for schedule(static) num_threads(team_size()) default(none)                   \
    shared(frames, part, rules, triangles) if (frames.size() > kSmallPart)
    for (std::size_t i = 0; i < frames.size(); ++i)
        frames[i] = i < triangles ? frame_of(part, rules, part.triangles[i])
                                  : frame_of(part, rules, part.tetragons[i - triangles]);
    return frames;
}

// Calls visit(vertex index, face, corner) for all corners, triangles first.
template<typename Visit>
void for_each_corner(const Part& part, const Visit& visit) {
    std::uint32_t face = 0;
    for (const Triangle& t : part.triangles) {
        for (std::uint32_t c = 0; c < t.vertex.size(); ++c)
            visit(t.vertex[c], face, c);
        ++face;
    }
    for (const Tetragon& t : part.tetragons) {
        for (std::uint32_t c = 0; c < t.vertex.size(); ++c)
            visit(t.vertex[c], face, c);
        ++face;
    }
}

// Per vertex the first vertex at its position.
std::vector<std::uint32_t> first_at_position(const std::vector<Vec3>& positions) {
    std::vector<std::uint32_t> first(positions.size());
    WeldTable table;
    Grow(table, positions.size());
    for (std::size_t i = 0; i < positions.size(); ++i)
        first[i] = find_or_add(
            table, hash_value(positions[i]), static_cast<std::uint32_t>(i),
            [&](std::uint32_t other) { return same_value(positions[other], positions[i]); });
    return first;
}

// Sorts the corners by position, in the order in which positions first occur.
void make_groups(Smoothing& work) {
    const std::vector<std::uint32_t> group = first_at_position(work.part.positions);
    std::vector<std::uint32_t>& start = work.group_start; // entry g + 1 counts, then fills group g
    start.assign(group.size() + 2, 0);
    for_each_corner(work.part, [&](std::uint32_t vertex, std::uint32_t, std::uint32_t) {
        ++start[group[vertex] + 2];
    });
    for (std::size_t g = 2; g < start.size(); ++g)
        start[g] += start[g - 1];
    work.corners.resize(start.back());
    for_each_corner(work.part, [&](std::uint32_t vertex, std::uint32_t face, std::uint32_t corner) {
        work.corners[start[group[vertex] + 1]++] = {face, corner};
    });
    start.pop_back();
}

// The place in the face that holds the vertex index of a corner.
std::uint32_t& vertex_slot(Part& part, const FaceCorner& corner) {
    const std::size_t triangles = part.triangles.size();
    return corner.face < triangles ? part.triangles[corner.face].vertex[corner.corner]
                                   : part.tetragons[corner.face - triangles].vertex[corner.corner];
}

// The normal or tangent of a corner: `own` is that of its face, `old` what its vertex had.
PackedUnit smoothed(const SmoothRule& rule, const DirectionSet& group, const Vec3& own,
                    const std::vector<PackedUnit>& old, std::uint32_t old_vertex) {
    switch (rule.smoothness) {
    case Smoothness::flat: return {};
    case Smoothness::kept:
        if (old_vertex < old.size() && !is_zero(old[old_vertex])) return old[old_vertex];
        return pack_unit(own);
    case Smoothness::angle: return pack_unit(sum_within(group, own, rule.smallest_cosine));
    }
    std::abort();
}

bool same_vertex(const Part& part, const NewVertex& a, const NewVertex& b) {
    return a.normal == b.normal && a.tangent == b.tangent
           && same_data(part, a.old_vertex, b.old_vertex);
}

std::uint64_t hash_vertex(const Part& part, const NewVertex& v) {
    const std::uint64_t frame = unit_bits(v.normal) << 24 | unit_bits(v.tangent);
    return mix_bits(hash_data(part, v.old_vertex) + frame);
}

// Index within the run of a vertex like this one that the group has already, or of a new one.
std::uint32_t place_vertex(const Part& part, Run& run, std::size_t first_of_group,
                           const NewVertex& vertex, bool large_group) {
    const auto is_equal = [&](std::uint32_t i) {
        return same_vertex(part, run.vertices[i], vertex);
    };
    const auto next = static_cast<std::uint32_t>(run.vertices.size());
    std::uint32_t found = static_cast<std::uint32_t>(first_of_group);
    if (large_group) {
        found = find_or_add(run.table, hash_vertex(part, vertex), next, is_equal);
    } else {
        while (found < next && !is_equal(found))
            ++found;
    }
    if (found == next) run.vertices.push_back(vertex);
    return found;
}

// Makes the vertices of one group and writes their indices within the run into the faces.
void smooth_group(Smoothing& work, Run& run, std::size_t group) {
    constexpr std::size_t kLargeGroup = 64; // corners; more are looked up in a table
    const std::size_t first = work.group_start[group], last = work.group_start[group + 1];
    if (first == last) return;
    run.normals.directions.clear();
    run.tangents.directions.clear();
    for (std::size_t i = first; i < last; ++i) {
        run.normals.directions.push_back(work.frames[work.corners[i].face].normal);
        run.tangents.directions.push_back(work.frames[work.corners[i].face].tangent);
    }
    Index(run.normals);
    Index(run.tangents);
    const bool large = last - first > kLargeGroup;
    if (large) run.table = {};
    const std::size_t first_of_group = run.vertices.size();
    const Part& part = work.part;
    for (std::size_t i = first; i < last; ++i) {
        const FaceCorner& corner = work.corners[i];
        const FaceFrame& frame = work.frames[corner.face];
        std::uint32_t& slot = vertex_slot(work.part, corner);
        const NewVertex vertex = {
            slot, smoothed(frame.rule, run.normals, frame.normal, part.normals, slot),
            smoothed(frame.rule, run.tangents, frame.tangent, part.tangents, slot)};
        slot = place_vertex(part, run, first_of_group, vertex, large);
    }
}

void smooth_run(Smoothing& work, Run& run) {
    run.vertices.reserve(run.last_group - run.first_group);
    for (std::size_t g = run.first_group; g < run.last_group; ++g)
        smooth_group(work, run, g);
}

// Turns the indices within the run into indices of the part.
void shift_vertices(Smoothing& work, const Run& run, std::uint32_t first_vertex) {
    const std::size_t end = work.group_start[run.last_group];
    for (std::size_t i = work.group_start[run.first_group]; i < end; ++i)
        vertex_slot(work.part, work.corners[i]) += first_vertex;
}

// Replaces the entries behind the first `kept` ones by copies for the new vertices.
template<typename T>
void copy_entries(std::vector<T>& values, std::size_t kept,
                  const std::vector<NewVertex>& vertices) {
    if (values.empty()) return;
    std::vector<T> copies(kept + vertices.size());
    std::copy_n(values.begin(), kept, copies.begin());
    for (std::size_t i = 0; i < vertices.size(); ++i)
        copies[kept + i] = values[vertices[i].old_vertex];
    values = std::move(copies);
}

template<typename T>
void copy_entries(std::vector<VertexArray<T>>& arrays, std::size_t kept,
                  const std::vector<NewVertex>& vertices) {
    for (VertexArray<T>& array : arrays)
        copy_entries(array.values, kept, vertices);
}

void replace_vertices(Part& part, std::size_t kept, const std::vector<NewVertex>& vertices) {
    copy_entries(part.positions, kept, vertices);
    copy_entries(part.vec2_arrays, kept, vertices);
    copy_entries(part.scalar_arrays, kept, vertices);
    copy_entries(part.vec3_arrays, kept, vertices);
    part.normals.resize(kept);
    part.tangents.resize(kept);
    for (const NewVertex& v : vertices) {
        part.normals.push_back(v.normal);
        part.tangents.push_back(v.tangent);
    }
}

std::vector<Run> make_runs(std::size_t groups) {
    const int threads = groups > kSmallPart ? team_size() : 1;
    std::vector<Run> runs(to_size(threads));
    for (std::size_t i = 0; i < runs.size(); ++i) {
        runs[i].first_group = groups * i / runs.size();
        runs[i].last_group = groups * (i + 1) / runs.size();
    }
    return runs;
}

void smooth_faces(Part& part) {
    Smoothing work = {part, face_frames(part), {}, {}};
    make_groups(work);
    std::vector<Run> runs = make_runs(work.group_start.size() - 1);
    Caught caught;
#pragma omp parallel for schedule(static) num_threads(team_size()) default(none)                   \
    shared(work, runs, caught) if (runs.size() > 1)
    for (std::size_t i = 0; i < runs.size(); ++i)
        keep_exceptions(caught, [&] { smooth_run(work, runs[i]); });
    throw_caught(caught);
    // Particles and cylinders go on using the old vertices.
    const bool mixed = !part.particles.empty() || !part.cylinders.empty();
    const std::size_t kept = mixed ? part.positions.size() : 0;
    std::vector<NewVertex> vertices;
    for (Run& run : runs) {
        shift_vertices(work, run, static_cast<std::uint32_t>(kept + vertices.size()));
        vertices.insert(vertices.end(), run.vertices.begin(), run.vertices.end());
        run = Run{};
    }
    replace_vertices(part, kept, vertices);
}

} // namespace

void Smooth(Part& part) {
    if (!any_smoothed(part.triangles) && !any_smoothed(part.tetragons)) return;
    if (!all_in_range(part.triangles, part.positions.size())
        || !all_in_range(part.tetragons, part.positions.size()))
        return ReportError("smoothing out of range");
    const std::int64_t start = milliseconds_now();
    smooth_faces(part);
    SmoothingTimeMs += milliseconds_now() - start;
}

} // namespace mh
