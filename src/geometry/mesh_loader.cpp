// Assembly of loaded faces into a part: one vertex index per corner, equal corners welded.
// SPDX-License-Identifier: MIT
#include "geometry/mesh_loader.h"

#include "geometry/objects.h"
#include "geometry/vertex_data.h"
#include "geometry/weld_table.h"
#include "math/count_text.h"
#include "run/report.h"

namespace mh {

namespace {

struct Vertex {
    Vec3 position;
    Vec2 uv;
    PackedUnit normal, tangent;
};

// What assembly needs besides loader and part.
struct Assembly {
    const MeshLoader& loader;
    Part& part;
    std::vector<PackedUnit> normals, tangents; // the pools, packed
    WeldTable table;
    std::vector<std::uint32_t> latest;     // per position of the pool: last vertex made of it
    std::vector<LoaderCorner> made_from;   // per new vertex
    std::uint32_t first_vertex = 0;        // of the part
    std::int64_t faces_without_vertex = 0; // dropped with a warning, wholly or by half
};

std::vector<PackedUnit> pack(const std::vector<Vec3>& pool) {
    std::vector<PackedUnit> packed(pool.size());
    for (std::size_t i = 0; i < pool.size(); ++i)
        packed[i] = pack_unit(pool[i]);
    return packed;
}

template<typename T>
T entry(const std::vector<T>& pool, std::uint32_t index) {
    return index < pool.size() ? pool[index] : T{};
}

Vertex gather(const Assembly& assembly, const LoaderCorner& corner) {
    return {assembly.loader.positions[corner.position], entry(assembly.loader.uvs, corner.uv),
            entry(assembly.normals, corner.normal), entry(assembly.tangents, corner.tangent)};
}

std::uint64_t hash_vertex(const Vertex& v) {
    const std::uint64_t frame = unit_bits(v.normal) << 24 | unit_bits(v.tangent);
    return mix_bits(hash_value(v.position) + hash_value(v.uv) + frame);
}

bool equals(const Part& part, std::uint32_t index, const Vertex& v) {
    return same_value(part.positions[index], v.position) && part.normals[index] == v.normal
           && part.tangents[index] == v.tangent && same_value(uvs(part)[index], v.uv);
}

void append(Part& part, const Vertex& v) {
    part.positions.push_back(v.position);
    uvs(part).push_back(v.uv);
    part.normals.push_back(v.normal);
    part.tangents.push_back(v.tangent);
}

// The vertex of a corner whose position lies in the pool. Corners of one position mostly repeat
// the same indices; only others go to the table.
std::uint32_t vertex_of(Assembly& assembly, const LoaderCorner& corner) {
    std::uint32_t& latest = assembly.latest[corner.position];
    if (latest != kAbsent && assembly.made_from[latest - assembly.first_vertex] == corner)
        return latest;
    Part& part = assembly.part;
    const Vertex vertex = gather(assembly, corner);
    const auto is_equal = [&](std::uint32_t index) { return equals(part, index, vertex); };
    const auto next = static_cast<std::uint32_t>(part.positions.size());
    latest = find_or_add(assembly.table, hash_vertex(vertex), next, is_equal);
    if (latest == next) {
        append(part, vertex);
        assembly.made_from.push_back(corner);
    }
    return latest;
}

bool positions_exist(const MeshLoader& loader, const LoaderFace& face, std::size_t corners) {
    for (std::size_t i = 0; i < corners; ++i)
        if (face.corner[i].position >= loader.positions.size()) return false;
    return true;
}

// Whether a corner and the next one, cyclically, lie at the same point.
bool has_equal_neighbours(const MeshLoader& loader, const LoaderFace& face, std::size_t corners) {
    for (std::size_t i = 0; i < corners; ++i) {
        const Vec3& p = loader.positions[face.corner[i].position];
        if (p == loader.positions[face.corner[(i + 1) % corners].position]) return true;
    }
    return false;
}

// Appends faces of 3 or 4 corners to the part's list of triangles or tetragons.
template<typename Face>
void append_faces(Assembly& assembly, const std::vector<LoaderFace>& faces,
                  std::vector<Face>& list) {
    constexpr std::size_t kCorners = std::tuple_size_v<decltype(Face::vertex)>;
    list.reserve(list.size() + faces.size());
    bool was_dropped = false;
    for (const LoaderFace& face : faces) {
        const bool is_counted = face.is_second_half && was_dropped;
        was_dropped = !positions_exist(assembly.loader, face, kCorners);
        if (was_dropped && !is_counted) ++assembly.faces_without_vertex;
        if (was_dropped) continue;
        if (has_equal_neighbours(assembly.loader, face, kCorners)) continue;
        Face& made = list.emplace_back();
        made.shader = static_cast<std::uint32_t>(face.shader);
        for (std::size_t i = 0; i < kCorners; ++i)
            made.vertex[i] = vertex_of(assembly, face.corner[i]);
    }
}

} // namespace

void AssembleMesh(MeshLoader& loader, Part& part) {
    Assembly assembly = {loader, part, pack(loader.normals), pack(loader.tangents), {}, {}, {}};
    assembly.first_vertex = static_cast<std::uint32_t>(part.positions.size());
    assembly.latest.assign(loader.positions.size(), kAbsent);
    Grow(assembly.table, loader.positions.size());
    append_faces(assembly, loader.triangles, part.triangles);
    append_faces(assembly, loader.tetragons, part.tetragons);
    if (const std::int64_t count = assembly.faces_without_vertex; count > 0) {
        ReportWarning("object - " + CountText(count, "face") + " with missing positions left out "
                      + loader.path);
        ReportRule();
    }
    loader = MeshLoader{};
}

} // namespace mh
