// Displacement: layer after layer, faces become grids on curved patches, whose points are moved.
// Grids are not shared between faces; the smoothing that follows welds them.
// SPDX-License-Identifier: MIT
#include "geometry/displacement.h"

#include "geometry/objects.h"
#include "geometry/patch.h"
#include "geometry/smoothing.h"
#include "geometry/state.h"
#include "math/at.h"
#include "math/clock.h"
#include "math/memory.h"
#include "math/roots.h"
#include "math/threads.h"
#include "run/report.h"
#include "shading/images.h"
#include "shading/state.h"

#include <algorithm>
#include <limits>
#include <map>

namespace mh {

namespace {

// Fewer new triangles are made sooner than a team of threads starts.
constexpr std::size_t kSmallPart = 2048;

// One displacement layer applied to the triangles of a part.
struct Layer {
    Part& part;
    std::size_t index = 0;                                   // within the lists of the shaders
    std::map<std::uint32_t, std::int64_t> levels;            // of shaders whose faces are divided
    std::vector<Triangle> faces;                             // to be divided
    std::vector<std::uint64_t> first_vertex, first_triangle; // of each face's grid
};

struct Corners {
    std::array<OrientedPoint, 3> point;
    std::array<Vec3, 3> tangent;
};

template<typename Face>
std::size_t most_layers(const std::vector<Face>& faces) {
    std::size_t most = 0;
    for (const Face& face : faces)
        if (face.shader < Shaders.size())
            most = std::max(most, Shaders[face.shader].displacement.vectors.size());
    return most;
}

void split_tetragons(Part& part) {
    for (const Tetragon& t : part.tetragons)
        AppendHalves(part, t);
    part.tetragons = {};
}

bool has_some(const std::vector<PackedUnit>& units) {
    return std::any_of(units.begin(), units.end(), [](const PackedUnit& u) { return !is_zero(u); });
}

void warn_of_missing_normals() {
    ReportWarning("missing vertex normals for displacement mapping");
}

template<typename T>
double entry_bytes(const std::vector<VertexArray<T>>& arrays) {
    double bytes = 0.0;
    for (const VertexArray<T>& array : arrays)
        if (!array.values.empty()) bytes += sizeof(T);
    return bytes;
}

// What a face of this level takes while it is divided and smoothed, in bytes.
double grid_bytes(const Part& part, double level) {
    constexpr double kSmoothingPerVertex = 40.0, kSmoothingPerTriangle = 56.0; // its working data
    const double entries = entry_bytes(part.vec2_arrays) + entry_bytes(part.scalar_arrays)
                           + entry_bytes(part.vec3_arrays);
    const double vertex = sizeof(Vec3) + 2 * sizeof(PackedUnit) + entries;
    return (level + 1.0) * (level + 2.0) / 2.0 * (2.0 * vertex + kSmoothingPerVertex)
           + level * level * (2.0 * sizeof(Triangle) + kSmoothingPerTriangle);
}

void warn_of_size(const Shader& shader, std::int64_t level) {
    ReportWarning("displacement - level " + std::to_string(level) + " of shader " + shader.name
                  + " needs more memory than there is");
    ReportRule();
}

// Levels of layer k of the shaders that have it; those whose grids would not fit into the machine
// are refused.
std::map<std::uint32_t, std::int64_t> admitted_levels(const Part& part, std::size_t k) {
    constexpr double kMostVertices = std::numeric_limits<std::uint32_t>::max();
    std::map<std::uint32_t, double> faces_of_shader;
    for (const Triangle& t : part.triangles)
        faces_of_shader[t.shader] += 1.0;
    std::map<std::uint32_t, std::int64_t> levels;
    double bytes = 0.0, vertices = static_cast<double>(part.positions.size());
    for (const auto& [shader, faces] : faces_of_shader) {
        const std::vector<ShaderElement>& layers = Shaders[shader].displacement.vectors;
        if (k >= layers.size()) continue;
        const std::int64_t level = std::max(layers[k].level, 0);
        const double exact = static_cast<double>(level);
        const double more_bytes = faces * grid_bytes(part, exact);
        const double more_vertices = faces * (exact + 1.0) * (exact + 2.0) / 2.0;
        if (!FitsMemory(bytes + more_bytes) || vertices + more_vertices > kMostVertices) {
            warn_of_size(Shaders[shader], level);
            continue;
        }
        bytes += more_bytes;
        vertices += more_vertices;
        levels[shader] = level;
    }
    return levels;
}

bool has_frames(const Part& part, const Triangle& face) {
    return std::all_of(face.vertex.begin(), face.vertex.end(), [&](std::uint32_t v) {
        return !is_zero(part.normals[v]) && !is_zero(part.tangents[v]);
    });
}

// Moves the faces that are to be divided out of the part and lays out their grids.
void take_faces(Layer& layer) {
    Part& part = layer.part;
    std::vector<Triangle> kept;
    for (const Triangle& face : part.triangles) {
        const bool divided = layer.levels.contains(face.shader) && has_frames(part, face);
        (divided ? layer.faces : kept).push_back(face);
    }
    std::uint64_t vertex = part.positions.size(), triangle = kept.size();
    for (const Triangle& face : layer.faces) {
        layer.first_vertex.push_back(vertex);
        layer.first_triangle.push_back(triangle);
        const auto level = static_cast<std::uint64_t>(layer.levels.at(face.shader));
        vertex += grid_points(level);
        triangle += level * level;
    }
    part.triangles = std::move(kept);
    part.triangles.resize(triangle);
    part.positions.resize(vertex);
    part.normals.resize(vertex);
    part.tangents.resize(vertex);
}

template<typename T>
void extend(std::vector<VertexArray<T>>& arrays, std::size_t size) {
    for (VertexArray<T>& array : arrays)
        if (!array.values.empty()) array.values.resize(size);
}

template<typename T>
T weigh(const Barycentric& w, const T& x0, const T& x1, const T& x2) {
    return w.a * x0 + w.b * x1 + w.c * x2;
}

template<typename T>
void interpolate(std::vector<VertexArray<T>>& arrays, const Triangle& face, const Barycentric& w,
                 std::size_t vertex) {
    for (VertexArray<T>& array : arrays) {
        std::vector<T>& x = array.values;
        if (!x.empty())
            x[vertex] = weigh(w, x[face.vertex[0]], x[face.vertex[1]], x[face.vertex[2]]);
    }
}

// What a layer without an image displaces by is its vector alone.
Vec3 displacement_value(const ShaderElement& element, const Vec2& uv) {
    if (has_record(Textures, element.image_index))
        return sample_texture(at(Textures, element.image_index), uv, element);
    return element.color == Vec3{} ? Vec3{} : Vec3{1.0f, 1.0f, 1.0f};
}

// Along the layer's vector, or in the frame of the vertex when it has none.
Vec3 offset(const Part& part, const ShaderElement& element, std::size_t vertex) {
    const std::vector<Vec2>& uv = uvs(part);
    const Vec3 d = displacement_value(element, uv.empty() ? Vec2{} : uv[vertex]);
    if (!(element.color == Vec3{})) return element.color * d;
    const Vec3 n = unpack_unit(part.normals[vertex]), t = unpack_unit(part.tangents[vertex]);
    return -d.x * cross(n, t) + d.y * t + d.z * n;
}

Corners corners_of(const Part& part, const Triangle& face) {
    Corners corners;
    for (std::size_t i = 0; i < 3; ++i) {
        const std::uint32_t v = face.vertex[i];
        corners.point[i] = {part.positions[v], unpack_unit(part.normals[v])};
        corners.tangent[i] = unpack_unit(part.tangents[v]);
    }
    return corners;
}

void make_vertex(Part& part, const Triangle& face, const Corners& corners, const Barycentric& w,
                 std::size_t vertex) {
    const auto& [p0, p1, p2] = corners.point;
    const auto& [t0, t1, t2] = corners.tangent;
    part.normals[vertex] = pack_unit(weigh(w, p0.normal, p1.normal, p2.normal));
    part.tangents[vertex] = pack_unit(weigh(w, t0, t1, t2));
    interpolate(part.scalar_arrays, face, w, vertex);
    interpolate(part.vec2_arrays, face, w, vertex);
    interpolate(part.vec3_arrays, face, w, vertex);
    part.positions[vertex] = patch_point(corners.point, w);
}

// Rows of triangles that point to the first corner, each followed by those between them.
void make_triangles(std::uint64_t level, std::uint64_t first_vertex, std::uint32_t shader,
                    Triangle* out) {
    const auto add = [&](std::uint64_t v0, std::uint64_t v1, std::uint64_t v2) {
        *out++ = {{static_cast<std::uint32_t>(first_vertex + v0),
                   static_cast<std::uint32_t>(first_vertex + v1),
                   static_cast<std::uint32_t>(first_vertex + v2)},
                  shader};
    };
    for (std::uint64_t r = 0; r < level; ++r)
        for (std::uint64_t q = 0; q <= r; ++q)
            add(grid_row_start(r) + q, grid_row_start(r + 1) + q, grid_row_start(r + 1) + q + 1);
    for (std::uint64_t r = 1; r < level; ++r)
        for (std::uint64_t q = 0; q < r; ++q)
            add(grid_row_start(r) + q, grid_row_start(r + 1) + q + 1, grid_row_start(r) + q + 1);
}

void divide_face(Layer& layer, std::size_t i) {
    Part& part = layer.part;
    const Triangle& face = layer.faces[i];
    const auto level = static_cast<std::uint64_t>(layer.levels.at(face.shader));
    if (level == 0) return; // such a face vanishes
    const ShaderElement& element = Shaders[face.shader].displacement.vectors[layer.index];
    const Corners corners = corners_of(part, face);
    std::uint64_t vertex = layer.first_vertex[i];
    for (std::uint64_t row = 0; row <= level; ++row) {
        for (std::uint64_t j = 0; j <= row; ++j, ++vertex) {
            make_vertex(part, face, corners, grid_weights(level, row, j), vertex);
            part.positions[vertex] += offset(part, element, vertex);
        }
    }
    make_triangles(level, layer.first_vertex[i], face.shader,
                   part.triangles.data() + layer.first_triangle[i]);
}

// False when the part lacks what displacement needs.
bool displace_layer(Part& part, std::size_t k) {
    Smooth(part);
    if (!has_some(part.normals)) {
        warn_of_missing_normals();
        return false;
    }
    if (!has_some(part.tangents)) return false;
    part.normals.resize(part.positions.size());
    part.tangents.resize(part.positions.size());
    Layer layer = {part, k, admitted_levels(part, k), {}, {}, {}};
    take_faces(layer);
    extend(part.scalar_arrays, part.positions.size());
    extend(part.vec2_arrays, part.positions.size());
    extend(part.vec3_arrays, part.positions.size());
#pragma omp parallel for schedule(static) num_threads(team_size()) default(none)                   \
    shared(layer) if (layer.part.triangles.size() > kSmallPart)
    for (std::size_t i = 0; i < layer.faces.size(); ++i)
        divide_face(layer, i);
    return true;
}

} // namespace

void Displace(Part& part) {
    const std::size_t layers = std::max(most_layers(part.triangles), most_layers(part.tetragons));
    if (layers == 0) return;
    const std::int64_t start = milliseconds_now();
    split_tetragons(part);
    for (std::size_t k = 0; k < layers && displace_layer(part, k); ++k) {
    }
    if (!has_some(part.tangents)) {
        warn_of_missing_normals();
        ReportRule();
    }
    DisplacementTimeMs += milliseconds_now() - start;
}

} // namespace mh
