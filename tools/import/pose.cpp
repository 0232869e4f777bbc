// Animations at a moment: keys of nodes and weights of shapes.
// SPDX-License-Identifier: MIT
#include "import/read_scene.h"

#include <algorithm>
#include <map>

#include <assimp/anim.h>

namespace mh {

namespace {

constexpr double kUsualTicks = 25.0; // a second, where the file does not say

double ticks_of_second(const aiAnimation& animation) {
    return animation.mTicksPerSecond > 0.0 ? animation.mTicksPerSecond : kUsualTicks;
}

// The key at or before the time, and the way to the next one, 0 to 1.
template<typename Key>
unsigned key_before(const Key* keys, unsigned count, double time, float& way) {
    const Key* const next = std::upper_bound(
        keys, keys + count, time, [](double t, const Key& key) { return t < key.mTime; });
    way = 0.0f;
    if (next == keys) return 0;
    const auto index = static_cast<unsigned>(next - keys - 1);
    if (index + 1 < count && keys[index + 1].mTime > keys[index].mTime)
        way = static_cast<float>((time - keys[index].mTime)
                                 / (keys[index + 1].mTime - keys[index].mTime));
    return index;
}

aiVector3D vector_at(const aiVectorKey* keys, unsigned count, double time) {
    float way = 0.0f;
    const unsigned i = key_before(keys, count, time, way);
    if (way == 0.0f) return keys[i].mValue;
    return keys[i].mValue + way * (keys[i + 1].mValue - keys[i].mValue);
}

aiQuaternion turn_at(const aiQuatKey* keys, unsigned count, double time) {
    float way = 0.0f;
    const unsigned i = key_before(keys, count, time, way);
    if (way == 0.0f) return keys[i].mValue;
    aiQuaternion turn;
    aiQuaternion::Interpolate(turn, keys[i].mValue, keys[i + 1].mValue, way);
    return turn.Normalize();
}

// Tracks that are empty leave their part of the node's matrix alone.
void move_node(aiNode& node, const aiNodeAnim& track, double time) {
    aiVector3D scale, place;
    aiQuaternion turn;
    node.mTransformation.Decompose(scale, turn, place);
    if (track.mNumScalingKeys > 0)
        scale = vector_at(track.mScalingKeys, track.mNumScalingKeys, time);
    if (track.mNumRotationKeys > 0)
        turn = turn_at(track.mRotationKeys, track.mNumRotationKeys, time);
    if (track.mNumPositionKeys > 0)
        place = vector_at(track.mPositionKeys, track.mNumPositionKeys, time);
    node.mTransformation = aiMatrix4x4(scale, turn, place);
}

float weight_in(const aiMeshMorphKey& key, unsigned shape) {
    for (unsigned i = 0; i < key.mNumValuesAndWeights; ++i)
        if (key.mValues[i] == shape) return static_cast<float>(key.mWeights[i]);
    return 0.0f;
}

void weigh_shapes(aiMesh& mesh, const aiMeshMorphAnim& track, double time) {
    if (track.mNumKeys == 0) return;
    float way = 0.0f;
    const unsigned i = key_before(track.mKeys, track.mNumKeys, time, way);
    const unsigned next = std::min(i + 1, track.mNumKeys - 1);
    for (unsigned shape = 0; shape < mesh.mNumAnimMeshes; ++shape)
        mesh.mAnimMeshes[shape]->mWeight = (1.0f - way) * weight_in(track.mKeys[i], shape)
                                           + way * weight_in(track.mKeys[next], shape);
}

// Shapes hold whole positions, of which the base takes its share of the difference.
void add_shapes(aiMesh& mesh) {
    const std::vector<aiVector3D> base(mesh.mVertices, mesh.mVertices + mesh.mNumVertices);
    std::vector<aiVector3D> normals;
    if (mesh.HasNormals()) normals.assign(mesh.mNormals, mesh.mNormals + mesh.mNumVertices);
    for (unsigned s = 0; s < mesh.mNumAnimMeshes; ++s) {
        const aiAnimMesh& shape = *mesh.mAnimMeshes[s];
        if (shape.mWeight == 0.0f || shape.mNumVertices != mesh.mNumVertices) continue;
        for (unsigned v = 0; v < mesh.mNumVertices; ++v) {
            if (shape.HasPositions())
                mesh.mVertices[v] += shape.mWeight * (shape.mVertices[v] - base[v]);
            if (shape.HasNormals() && !normals.empty())
                mesh.mNormals[v] += shape.mWeight * (shape.mNormals[v] - normals[v]);
        }
    }
}

void play(aiScene& scene, const aiAnimation& animation, double seconds) {
    const double last = std::max(0.0, animation.mDuration);
    const double time = std::clamp(seconds * ticks_of_second(animation), 0.0, last);
    for (unsigned c = 0; c < animation.mNumChannels; ++c)
        if (aiNode* node = scene.mRootNode->FindNode(animation.mChannels[c]->mNodeName))
            move_node(*node, *animation.mChannels[c], time);
    for (unsigned c = 0; c < animation.mNumMorphMeshChannels; ++c) {
        const aiMeshMorphAnim& track = *animation.mMorphMeshChannels[c];
        const aiNode* const node = scene.mRootNode->FindNode(track.mName);
        for (unsigned m = 0; node != nullptr && m < node->mNumMeshes; ++m)
            weigh_shapes(*scene.mMeshes[node->mMeshes[m]], track, time);
    }
}

} // namespace

double DurationOf(const aiScene& scene) {
    double longest = 0.0;
    for (unsigned i = 0; i < scene.mNumAnimations; ++i) {
        const aiAnimation& animation = *scene.mAnimations[i];
        longest = std::max(longest, animation.mDuration / ticks_of_second(animation));
    }
    return longest;
}

void PoseScene(aiScene& scene, double seconds) {
    if (scene.mNumAnimations > 0 && seconds >= 0.0) play(scene, *scene.mAnimations[0], seconds);
    for (unsigned i = 0; i < scene.mNumMeshes; ++i)
        if (scene.mMeshes[i]->mNumAnimMeshes > 0) add_shapes(*scene.mMeshes[i]);
}

} // namespace mh
