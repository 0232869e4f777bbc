// Records of the trees: references to primitives, binary nodes of the build, eight-wide nodes that
// rays walk.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/box.h"

#include <array>
#include <cstdint>

namespace mh {

enum class PrimitiveKind : std::uint16_t {
    particle = 1, // a sphere at a vertex
    cylinder = 2, // a curved hair segment from a vertex to the next
    triangle = 3,
    tetragon = 4,
    instance = 5,
};

struct PrimitiveRef {
    std::uint16_t part = 0; // within the object, modulo 256; 0 for an instance
    PrimitiveKind kind = PrimitiveKind::triangle;
    std::uint32_t index = 0; // within the list that kind names
};

struct BinaryNode {
    Aabb box;
    std::uint32_t first =
        0; // inner: left child, the right one is next to it; leaf: first reference
    std::uint32_t count = 0;      // references of a leaf, at most 65,535; 0 marks an inner node
    float cost = 0.0f;            // surface-area cost of the subtree
    std::uint32_t primitives = 0; // under the node
};

constexpr std::uint32_t kMaxLeaf = 65535; // references of a leaf: wide nodes count in 16 bits
constexpr std::uint32_t kEmptyChild = 0xFFFFFFFFu;
constexpr int kWide = 8;

// Eight children side by side. A slot is empty (child kEmptyChild, inverted planes), an inner child
// (count 0, child the index of a node) or a leaf (count references from index child on).
struct alignas(64) WideNode {
    float planes[2][3][kWide]; // lower and upper planes of the boxes: x, y, z
    std::uint32_t child[kWide];
    std::uint16_t count[kWide];
};

static_assert(sizeof(WideNode) == 256);

// Occlusions counted per child slot by the logging shadow walk; apart from the hot nodes.
using OcclusionLog = std::array<std::uint32_t, kWide>;

// One cache line of what rays read of an object; walk_types.h tells what stands in it.
struct alignas(64) WalkUnit {
    unsigned char bytes[64];
};

extern std::uint32_t RootObjectIndex;
extern Aabb SceneBounds;
extern Vec3 SceneCenter;
extern float SceneRadius; // half the diagonal of the bounds

} // namespace mh
