// Meshes, nodes, lights and cameras.
// SPDX-License-Identifier: MIT
#include "import/read_scene.h"

#include "math/srgb.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace mh {

namespace {

Matrix matrix_of(const aiMatrix4x4& m) {
    Matrix matrix;
    for (unsigned row = 0; row < 4; ++row)
        for (unsigned column = 0; column < 4; ++column)
            matrix[4 * row + column] = m[row][column];
    return matrix;
}

aiMatrix4x4 global_matrix(const aiNode* node) {
    aiMatrix4x4 matrix = node->mTransformation;
    for (node = node->mParent; node != nullptr; node = node->mParent)
        matrix = node->mTransformation * matrix;
    return matrix;
}

void read_triangles(const aiMesh& from, ImportedMesh& mesh) {
    mesh.triangles.reserve(from.mNumFaces);
    for (unsigned i = 0; i < from.mNumFaces; ++i) {
        const aiFace& face = from.mFaces[i];
        if (face.mNumIndices == 3)
            mesh.triangles.push_back({face.mIndices[0], face.mIndices[1], face.mIndices[2]});
    }
}

void read_vertices(const aiMesh& from, ImportedMesh& mesh) {
    static_assert(sizeof(Vec3) == sizeof(aiVector3D));
    const auto* const positions = reinterpret_cast<const Vec3*>(from.mVertices);
    mesh.positions.assign(positions, positions + from.mNumVertices);
    if (from.HasNormals()) {
        const auto* const normals = reinterpret_cast<const Vec3*>(from.mNormals);
        mesh.normals.assign(normals, normals + from.mNumVertices);
    }
    for (unsigned set = 0; set < from.GetNumUVChannels(); ++set) {
        std::vector<Vec2>& uvs = mesh.uv_sets.emplace_back(from.mNumVertices);
        for (unsigned i = 0; i < from.mNumVertices; ++i)
            uvs[i] = {from.mTextureCoords[set][i].x, from.mTextureCoords[set][i].y};
    }
}

// Colours of glTF are linear; other formats take them from screens.
void read_colors(const aiMesh& from, bool linear, ImportedMesh& mesh) {
    if (!from.HasVertexColors(0)) return;
    for (unsigned i = 0; i < from.mNumVertices; ++i) {
        const aiColor4D& c = from.mColors[0][i];
        mesh.colors.push_back(
            linear ? Vec3{c.r, c.g, c.b}
                   : Vec3{linear_of_srgb(c.r), linear_of_srgb(c.g), linear_of_srgb(c.b)});
    }
}

ImportedMesh mesh_of(const aiMesh& from, bool linear_colors) {
    ImportedMesh mesh;
    mesh.name = text_of(from.mName);
    mesh.material = from.mMaterialIndex;
    read_vertices(from, mesh);
    read_colors(from, linear_colors, mesh);
    read_triangles(from, mesh);
    return mesh;
}

// Vertices as the bones carry them, in the space of the root.
void bend(const aiScene& scene, const aiMesh& from, ImportedMesh& mesh) {
    std::vector<aiVector3D> positions(from.mNumVertices), normals(from.mNumVertices);
    for (unsigned b = 0; b < from.mNumBones; ++b) {
        const aiBone& bone = *from.mBones[b];
        const aiNode* const node = scene.mRootNode->FindNode(bone.mName);
        if (node == nullptr) continue;
        const aiMatrix4x4 matrix = global_matrix(node) * bone.mOffsetMatrix;
        const aiMatrix3x3 turn(matrix);
        for (unsigned w = 0; w < bone.mNumWeights; ++w) {
            const unsigned v = bone.mWeights[w].mVertexId;
            if (v >= from.mNumVertices) continue;
            positions[v] += bone.mWeights[w].mWeight * (matrix * from.mVertices[v]);
            if (from.HasNormals())
                normals[v] += bone.mWeights[w].mWeight * (turn * from.mNormals[v]);
        }
    }
    for (unsigned v = 0; v < from.mNumVertices; ++v) {
        mesh.positions[v] = vec3_of(positions[v]);
        if (from.HasNormals()) mesh.normals[v] = vec3_of(normals[v]);
    }
}

struct Tree {
    const aiScene& from;
    ImportedScene& scene;
    bool is_gltf;
    std::vector<std::uint32_t> kept = {};             // number of each mesh among ours
    std::map<std::string, std::int32_t> numbers = {}; // of nodes
    std::vector<std::uint32_t> bent = {};
};

constexpr std::uint32_t kNotKept = 0xFFFFFFFFu;

void read_node(Tree& tree, const aiNode& from, std::int32_t parent) {
    const auto number = static_cast<std::int32_t>(tree.scene.nodes.size());
    ImportedNode& node = tree.scene.nodes.emplace_back();
    node.name = text_of(from.mName);
    node.parent = parent;
    node.matrix = matrix_of(from.mTransformation);
    tree.numbers.emplace(node.name, number);
    for (unsigned i = 0; i < from.mNumMeshes; ++i) {
        const unsigned mesh = from.mMeshes[i];
        const bool skinned = tree.from.mMeshes[mesh]->HasBones();
        if (tree.kept[mesh] != kNotKept) // bones carry skins, wherever their node stands
            (skinned ? tree.bent : node.meshes).push_back(tree.kept[mesh]);
    }
    for (unsigned i = 0; i < from.mNumChildren; ++i)
        read_node(tree, *from.mChildren[i], number);
}

void read_nodes(Tree& tree) {
    read_node(tree, *tree.from.mRootNode, -1);
    if (tree.bent.empty()) return;
    ImportedNode& skins = tree.scene.nodes.emplace_back();
    skins.name = "skins";
    skins.matrix = matrix_of({});
    std::sort(tree.bent.begin(), tree.bent.end());
    tree.bent.erase(std::unique(tree.bent.begin(), tree.bent.end()), tree.bent.end());
    skins.meshes = tree.bent;
}

void read_meshes(Tree& tree) {
    unsigned odd = 0;
    for (unsigned i = 0; i < tree.from.mNumMeshes; ++i) {
        const aiMesh& from = *tree.from.mMeshes[i];
        tree.kept.push_back(kNotKept);
        const bool triangles = (from.mPrimitiveTypes & aiPrimitiveType_TRIANGLE) != 0;
        if (!triangles || from.mNumFaces == 0 || !from.HasPositions()) {
            ++odd;
            continue;
        }
        tree.kept.back() = static_cast<std::uint32_t>(tree.scene.meshes.size());
        ImportedMesh& mesh = tree.scene.meshes.emplace_back(mesh_of(from, tree.is_gltf));
        if (from.HasBones()) bend(tree.from, from, mesh);
    }
    if (odd > 0)
        tree.scene.dropped.push_back(std::to_string(odd) + (odd == 1 ? " mesh" : " meshes")
                                     + " of points, lines or nothing");
}

// The library adds a nameless material for meshes without one, whether or not there are such.
void drop_spare_material(ImportedScene& scene) {
    if (scene.materials.empty() || !scene.materials.back().name.empty()) return;
    const std::size_t last = scene.materials.size() - 1;
    const bool is_used = std::any_of(scene.meshes.begin(), scene.meshes.end(),
                                     [&](const ImportedMesh& m) { return m.material == last; });
    if (!is_used) scene.materials.pop_back();
}

std::int32_t node_named(const Tree& tree, const aiString& name) {
    const auto found = tree.numbers.find(text_of(name));
    return found == tree.numbers.end() ? -1 : found->second;
}

void read_lights(Tree& tree) {
    for (unsigned i = 0; i < tree.from.mNumLights; ++i) {
        const aiLight& from = *tree.from.mLights[i];
        ImportedLight& light = tree.scene.lights.emplace_back();
        light.name = text_of(from.mName);
        light.node = node_named(tree, from.mName);
        light.color = {from.mColorDiffuse.r, from.mColorDiffuse.g, from.mColorDiffuse.b};
        light.position = vec3_of(from.mPosition);
        light.direction = vec3_of(from.mDirection);
        light.inner_rad = from.mAngleInnerCone;
        light.outer_rad = from.mAngleOuterCone;
        switch (from.mType) {
        case aiLightSource_POINT: light.kind = LightKind::point; break;
        case aiLightSource_SPOT: light.kind = LightKind::spot; break;
        case aiLightSource_DIRECTIONAL: light.kind = LightKind::directional; break;
        default: light.kind = LightKind::unknown;
        }
    }
}

// Of glTF the reader hands over the vertical angle times the aspect, and the place of the node
// twice.
void mend_camera(ImportedCamera& camera) {
    camera.position = {};
    if (!(camera.aspect > 0.0f)) return;
    const float half_height = std::tan(0.5f * camera.fov_rad / camera.aspect);
    camera.fov_rad = 2.0f * std::atan(half_height * camera.aspect);
}

void read_cameras(Tree& tree) {
    for (unsigned i = 0; i < tree.from.mNumCameras; ++i) {
        const aiCamera& from = *tree.from.mCameras[i];
        ImportedCamera& camera = tree.scene.cameras.emplace_back();
        camera.name = text_of(from.mName);
        camera.node = node_named(tree, from.mName);
        camera.position = vec3_of(from.mPosition);
        camera.look = vec3_of(from.mLookAt);
        camera.up = vec3_of(from.mUp);
        camera.aspect = from.mAspect;
        camera.fov_rad = from.mHorizontalFOV;
        if (tree.is_gltf) mend_camera(camera);
    }
}

// By the conventions of each format where the file says nothing.
void read_axes(const aiScene& from, const std::string& extension, ImportedScene& scene) {
    const bool prints = extension == "stl" || extension == "ply" || extension == "3ds"
                        || extension == "3mf" || extension == "amf";
    scene.up = prints ? 2 : 1;
    int axis = 0;
    if (from.mMetaData != nullptr && from.mMetaData->Get("UpAxis", axis) && axis >= 0 && axis <= 2)
        scene.up = static_cast<std::uint32_t>(axis);
}

} // namespace

void ReadScene(const aiScene& from, const std::string& extension, ImportedScene& scene) {
    Tree tree = {from, scene, extension == "gltf" || extension == "glb"};
    read_axes(from, extension, scene);
    ReadMaterials(from, tree.is_gltf, scene);
    read_meshes(tree);
    if (tree.is_gltf) drop_spare_material(scene);
    read_nodes(tree);
    read_lights(tree);
    read_cameras(tree);
}

} // namespace mh
