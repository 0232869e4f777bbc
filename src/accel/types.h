// Records of the trees: references to primitives, binary nodes of the build, eight-wide nodes that
// rays walk; and of the lists of what emits light.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/box.h"
#include "math/discrete_sampler.h"
#include "math/raw_vector.h"

#include <array>
#include <cstdint>
#include <vector>

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

// A tree of an object as rays walk it.
struct Tree {
    RawVector<WideNode> nodes;               // root at 0; empty when the object has no primitives
    RawVector<PrimitiveRef> references;      // in leaf order
    std::vector<OcclusionLog> occlusion_log; // one per node
    RawVector<WalkUnit> walk;                // what rays read of it all; empty: they hit nothing
    std::uint32_t wide_depth = 0;            // of the deepest node
    double tree_cost = 0.0;                  // stored only: of the binary tree after restructuring
    RawVector<BinaryNode> binary_nodes;      // kept after the build only with motion
    RawVector<PrimitiveRef> binary_references;
};

// One emitting primitive of an object, or an instance that leads to some.
struct LightPrimitive {
    std::uint32_t part = 0;                       // index within the object
    PrimitiveKind kind = PrimitiveKind::triangle; // triangle, tetragon or instance
    std::uint32_t index = 0;
    bool front = true;   // which side emits
    float weight = 0.0f; // area
};

// What an object sends out, with distributions over the areas.
struct LightLists {
    std::vector<LightPrimitive> emission_list;
    std::vector<LightPrimitive> virtual_light_list; // stored only, as all that comes of it
    DiscreteSampler emission_distribution, virtual_light_distribution;
    float emission_weight = 0.0f, virtual_light_weight = 0.0f; // areas
};

} // namespace mh
