// What the walks read and write: the stream of an object's nodes and primitives, made by
// PrepareWalk, and the query that a kernel answers. Plain fields only, no functions: the kernels
// are compiled for different processors.
// SPDX-License-Identifier: MIT
#pragma once

#include "accel/types.h"

#include <cstddef>
#include <type_traits>

namespace mh {

struct Instance;
struct Object;

// A stream stands in depth-first order, each node followed by the triangles of its small leaves,
// side by side in blocks, and by the primitives of the other leaves. A reference to a child is the
// position of its first unit in the stream, and what lies there. The root is a node of eight at
// position 0.
constexpr std::uint32_t kWalkUnitMask = 0x07FFFFFFu;
constexpr std::uint32_t kWalkBlocks = 0x08000000u; // a leaf: triangles of the slot in the blocks of
                                                   // the node that stands here
constexpr std::uint32_t kWalkNarrow = 0x10000000u; // a node of four children
constexpr std::uint32_t kWalkLeaf = 0x20000000u;   // primitives up to the one that is `last`
// A node whose children all stand in one block behind it, of as many triangles as it has slots.
constexpr std::uint32_t kWalkBottom = kWalkBlocks;
constexpr std::uint32_t kWalkKind = kWalkBlocks | kWalkNarrow | kWalkLeaf;
// The place of a triangle in a walk's own list, in place of the unit; never in a stream.
constexpr std::uint32_t kWalkCandidate = kWalkLeaf | kWalkNarrow;

struct Nothing {};

// A WideNode, cut to N slots.
template<std::uint32_t N>
struct alignas(64) WalkNode {
    float planes[2][3][N]; // lower and upper planes of the boxes: x, y, z
    std::uint32_t child[N];
    std::uint32_t wide_node;         // index in Tree::nodes
    std::uint8_t leaves;             // bit k: child k is a leaf
    std::uint8_t blocked;            // bit k: child k is a leaf in blocks
    std::uint8_t wide_blocks;        // blocks of eight triangles behind the node
    std::uint8_t narrow_blocks;      // blocks of four behind those: none or one
    std::uint8_t block_slots[N + 1]; // of each block, bit k: some of its triangles are of slot k
    // Of the stream, for the root's sake: nodes of four have no room for it.
    [[no_unique_address]] std::conditional_t<N == kWide, const Object*, Nothing> object;
};

static_assert(sizeof(WalkNode<8>) == 256 && sizeof(WalkNode<4>) == 128);

constexpr std::uint32_t kMaxBlockedLeaf = 8; // triangles

// What the test of a triangle needs of its corners P0, P1, P2: P0, the normal N = E1 x E2 of the
// edges E1, E2 from P0, E2 x N, N x E1, and the square N . N. Side by side for N triangles.
template<std::uint32_t N>
struct WalkTriangles {
    float p0[3][N], normal[3][N], e2_normal[3][N], normal_e1[3][N];
    float normal_square[N];
    std::uint32_t shader[N];
};

// Triangles of the leaves of a node, in the order of slots and, within a slot, of references.
// Places that are left over have a zero normal and are never hit.
template<std::uint32_t N>
struct alignas(64) WalkBlock {
    WalkTriangles<N> triangles;
    std::uint32_t index[N];
    std::uint8_t part[N], visibility[N];
    std::uint8_t slot[N]; // of the leaf
    std::uint8_t used;    // places
};

static_assert(sizeof(WalkBlock<8>) == 512 && sizeof(WalkBlock<4>) == 256);

// The corners by coordinate, in order around the face.
struct WalkCorners {
    float x[4], y[4], z[4];
};

struct WalkTetragon {
    WalkCorners corners;
    std::uint32_t shader;
};

// Several tetragons of a leaf, side by side. What tells their kind stands where that of a primitive
// does. Places that are left over have no normal and are never hit.
struct alignas(64) WalkTetragons {
    float p0[3][4];
    std::uint8_t part[4], visibility[4];
    std::uint32_t used; // places
    std::uint8_t kind;
    bool last;          // of its leaf
    float normal[3][4]; // the cross product of the diagonals
    std::uint32_t index[4], shader[4];
    WalkCorners corners[4];
};

struct WalkCylinder {
    float p0[3], p1[3], t0[3], t1[3]; // ends and their tangents: unit or zero
    float radius0, radius1;
};

struct WalkParticle {
    float center[3];
    float radius;
};

struct WalkInstance {
    float inverse[3][4];    // upper rows of the inverse, whose last row is 0, 0, 0, 1
    const WalkUnit* target; // stream of the instanced object
};

// An instance whose last row is another one.
struct WalkProjection {
    const Instance* instance;
    const WalkUnit* target;
};

// Values of `kind` beside those of PrimitiveKind.
constexpr std::uint8_t kWalkNothing = 0;
constexpr std::uint8_t kWalkProjection = 6;
constexpr std::uint8_t kWalkTetragons = 7;

struct alignas(64) WalkPrimitive {
    union {
        WalkTriangles<1> triangle;
        WalkTetragon tetragon;
        WalkCylinder cylinder;
        WalkParticle particle;
        WalkInstance instance;
        WalkProjection projection;
    };

    std::uint32_t index; // within the list that kind names; of an instance its object
    std::uint8_t kind;
    bool last;               // of its leaf
    std::uint8_t part;       // within the object
    std::uint8_t visibility; // of the shader
};

static_assert(sizeof(WalkPrimitive) == sizeof(WalkUnit));
static_assert(offsetof(WalkTetragons, kind) == offsetof(WalkPrimitive, kind)
              && offsetof(WalkTetragons, last) == offsetof(WalkPrimitive, last));

// Entries that a kernel's stack holds; an object whose tree may need more is not walked. A tree of
// 256 levels needs 7 * 256.
constexpr std::uint32_t kWalkStack = 4096;

constexpr int kWalkLevels = 16; // of instances inside instances

constexpr std::uint32_t kNoObject = 0xFFFFFFFFu;

// Where a logging shadow walk ended, one record per level of instances.
struct WalkLogEntry {
    std::uint32_t wide_node, slot; // of the leaf that occluded
    std::uint32_t object; // whose instance occluded, leading to the next record, or kNoObject
};

// A triangle by its numbers.
struct WalkFace {
    std::uint8_t part;
    std::uint32_t triangle;
};

// Whether a ray in the object's space runs through the triangle, edges included: of two neighbours
// through one at least.
bool RunsInside(const Object& object, WalkFace face, const Vec3& origin, const Vec3& direction);

struct WalkQuery {
    const Vec3 *origin, *direction; // of the ray; unit for the closest hit
    const Vec3* inverse;            // 1 / direction; infinite where that is 0
    float distance;                 // limit, then the distance of the closest hit
    std::uint64_t source, target;   // index and kind << 32 of primitives that are not hit
    unsigned visible;               // bit v: primitives of visibility v are hit
    bool true_distances;            // in scaled instances and of spheres' shadows
    int hit_level;                  // instances around the closest hit
    std::uint64_t hit;              // its index and kind << 32
    std::uint32_t hit_shader;       // of a face
    std::uint8_t hit_part;          // within the object
    float hit_a, hit_b, hit_c;
    bool front;
    const WalkPrimitive* hit_path[kWalkLevels]; // the instances around it, outermost first
    std::uint64_t nodes, leaves, primitives;    // visited and tested by shadow walks
    WalkLogEntry log[kWalkLevels + 1];
};

// The walks of a kernel over the stream of the root object; true for a hit or an occlusion.
struct WalkKernel {
    const char* name;
    bool (*closest)(const WalkUnit* root, WalkQuery& query);
    bool (*probe)(const WalkUnit* root, WalkQuery& query);
    bool (*occlude)(const WalkUnit* root, WalkQuery& query);
    bool (*occlude_log)(const WalkUnit* root, WalkQuery& query);
};

extern const WalkKernel kScalarWalks, kAvx2Walks;

} // namespace mh
