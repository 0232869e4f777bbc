// Reading of binary mesh files; phase 0, when their object is read.
// SPDX-License-Identifier: MIT
#include "geometry/mesh_file.h"

#include "geometry/objects.h"
#include "math/count_text.h"
#include "math/input_file.h"
#include "math/memory.h"
#include "run/report.h"

#include <algorithm>
#include <bit>

namespace mh {

namespace {

static_assert(std::endian::native == std::endian::little, "mesh files are read as they stand");

using Corners = std::array<std::uint32_t, 3>;

template<typename T>
bool read_values(InputFile& file, std::vector<T>& values, std::size_t count) {
    values.resize(count);
    return std::fread(values.data(), sizeof(T), count, file.handle.get()) == count;
}

bool positions_exist(const Part& part, const Corners& corners) {
    return std::all_of(corners.begin(), corners.end(),
                       [&](std::uint32_t corner) { return corner < part.positions.size(); });
}

bool has_equal_corners(const Part& part, const Corners& corners) {
    const std::vector<Vec3>& p = part.positions;
    const Vec3 &a = p[corners[0]], &b = p[corners[1]], &c = p[corners[2]];
    return a == b || b == c || c == a;
}

// Piece by piece: a second list of all triangles would take as much memory again.
bool read_triangles(InputFile& file, Part& part, std::size_t count, std::int64_t& dropped) {
    constexpr std::size_t kPiece = 65536;
    std::vector<Corners> piece;
    part.triangles.reserve(count);
    for (std::size_t done = 0; done < count; done += piece.size()) {
        if (!read_values(file, piece, std::min(kPiece, count - done))) return false;
        for (const Corners& corners : piece)
            if (!positions_exist(part, corners))
                ++dropped;
            else if (!has_equal_corners(part, corners))
                part.triangles.push_back({corners, 0});
    }
    return true;
}

bool read_arrays(InputFile& file, const MeshFileHead& head, Part& part, std::int64_t& dropped) {
    std::vector<Vec3> normals;
    if (!read_values(file, part.positions, head.vertices)) return false;
    if (head.has_normals != 0 && !read_values(file, normals, head.vertices)) return false;
    if (head.has_uvs != 0 && !read_values(file, uvs(part), head.vertices)) return false;
    uvs(part).resize(head.vertices);
    part.normals.resize(head.vertices);
    part.tangents.resize(head.vertices);
    for (std::size_t i = 0; i < normals.size(); ++i)
        part.normals[i] = pack_unit(normals[i]);
    return read_triangles(file, part, head.triangles, dropped);
}

// Why the file is not read, or an empty text.
std::string fault_of(const InputFile& file, const MeshFileHead& head, bool has_head) {
    constexpr double kCopies = 2.0; // the file's arrays and the part's
    if (!has_head || head.signature != MeshFileHead().signature || head.has_normals > 1
        || head.has_uvs > 1)
        return " is not a mesh file";
    if (file.size_bytes != MeshFileBytes(head)) return " is cut, or longer than its header says";
    if (!FitsMemory(kCopies * static_cast<double>(file.size_bytes)))
        return " needs more memory than there is";
    return {};
}

} // namespace

std::uint64_t MeshFileBytes(const MeshFileHead& head) {
    const std::uint64_t vertex_bytes =
        sizeof(Vec3) * (1 + head.has_normals) + sizeof(Vec2) * head.has_uvs;
    return sizeof head + vertex_bytes * head.vertices + sizeof(Corners) * head.triangles;
}

void ReadMeshFile(const std::string& path, Part& part) {
    InputFile file = OpenInput(path);
    if (!file) return ReportError("object - cannot open " + path);
    MeshFileHead head;
    const bool has_head = std::fread(&head, sizeof head, 1, file.handle.get()) == 1;
    std::string fault = fault_of(file, head, has_head);
    std::int64_t dropped = 0;
    if (fault.empty() && !read_arrays(file, head, part, dropped))
        fault = " cannot be read to its end";
    if (!fault.empty()) ReportError("object - " + path + fault);
    if (dropped > 0)
        ReportWarning("object - " + CountText(dropped, "face") + " with missing positions left out "
                      + path);
}

} // namespace mh
