// Mesh files, and everything else in the order in which it is read.
// SPDX-License-Identifier: MIT
#include "import/write_scene.h"

#include "geometry/mesh_file.h"
#include "import/linear.h"
#include "math/at.h"
#include "math/roots.h"
#include "output/file_writer.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <utility>

namespace mh {

namespace {

namespace fs = std::filesystem;

using OpenFile = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

template<typename T>
bool put(const OpenFile& file, const std::vector<T>& values) {
    return values.empty()
           || std::fwrite(values.data(), sizeof(T), values.size(), file.get()) == values.size();
}

std::vector<Vec3> stretched(const std::vector<Vec3>& from, const Linear& matrix, bool directions) {
    std::vector<Vec3> to(from.size());
    for (std::size_t i = 0; i < from.size(); ++i)
        to[i] = directions ? normalize(turned(matrix, from[i])) : turned(matrix, from[i]);
    return to;
}

// Normals take the cofactors, by the sign of the determinant: a mirrored sheet keeps its outer
// side.
Linear normal_matrix(const Linear& stretch) {
    Linear matrix = cofactors(stretch);
    if (determinant(stretch) < 0.0)
        for (double& entry : matrix)
            entry = -entry;
    return matrix;
}

void flip(std::vector<std::array<std::uint32_t, 3>>& triangles) {
    for (auto& corners : triangles)
        std::swap(corners[1], corners[2]);
}

const std::vector<Vec2>* uvs_of(const ImportedMesh& mesh, std::int32_t set) {
    if (!has_record(mesh.uv_sets, set)) return nullptr;
    const std::vector<Vec2>& uvs = at(mesh.uv_sets, set);
    return uvs.size() == mesh.positions.size() ? &uvs : nullptr;
}

bool write_arrays(const OpenFile& out, const MeshFile& file, const ImportedMesh& mesh) {
    const std::vector<Vec2>* const uvs = uvs_of(mesh, file.uv_set);
    MeshFileHead head;
    head.vertices = static_cast<std::uint32_t>(mesh.positions.size());
    head.triangles = static_cast<std::uint32_t>(mesh.triangles.size());
    head.has_normals = mesh.normals.empty() ? 0 : 1;
    head.has_uvs = uvs != nullptr ? 1 : 0;
    if (std::fwrite(&head, sizeof head, 1, out.get()) != 1) return false;
    if (!file.stretched)
        return put(out, mesh.positions) && put(out, mesh.normals) && (!uvs || put(out, *uvs))
               && put(out, mesh.triangles);
    auto triangles = mesh.triangles;
    if (determinant(file.stretch) < 0.0) flip(triangles);
    return put(out, stretched(mesh.positions, file.stretch, false))
           && put(out, stretched(mesh.normals, normal_matrix(file.stretch), true))
           && (!uvs || put(out, *uvs)) && put(out, triangles);
}

std::string write_mesh(const MeshFile& file, const ImportedMesh& mesh, const std::string& path) {
    const OpenFile out(std::fopen(path.c_str(), "wb"), std::fclose);
    const bool written =
        out != nullptr && write_arrays(out, file, mesh) && std::fflush(out.get()) == 0;
    return written ? "" : "cannot write " + path + ": " + std::strerror(errno);
}

} // namespace

std::string WriteScene(const ImportedScene& scene, const MappedScene& mapped,
                       const PictureSources& sources, bool link, const std::string& directory,
                       bool& unreadable) {
    std::error_code error;
    for (const char* folder : {"shader", "render", "light", "camera", "geometry", "image"})
        if (!error) fs::create_directory(directory + '/' + folder, error);
    if (error) return "cannot write below " + directory + ": " + error.message();
    for (const PictureFile& picture : mapped.pictures) {
        const std::string fault =
            WritePicture(picture, scene, sources, link, directory + '/' + picture.path);
        unreadable = fault.find("cannot write") != 0;
        if (!fault.empty()) return fault;
    }
    unreadable = false;
    for (const MeshFile& file : mapped.meshes) {
        const std::string fault =
            write_mesh(file, scene.meshes[file.mesh], directory + '/' + file.path);
        if (!fault.empty()) return fault;
    }
    for (const TextFile& file : mapped.texts) {
        const std::string path = directory + '/' + file.path;
        const std::string fault = ReplaceFile(path, file.text);
        if (!fault.empty()) return "cannot write " + path + ": " + fault;
    }
    return {};
}

} // namespace mh
