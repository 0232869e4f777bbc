// Objects, parts and instances: how geometry is held from the scene input to the last ray.
// SPDX-License-Identifier: MIT
#pragma once

#include "accel/types.h"
#include "integrate/types.h"
#include "math/box.h"
#include "math/discrete_sampler.h"
#include "math/matrix.h"
#include "math/packed_unit.h"
#include "math/raw_vector.h"
#include "math/vec3.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace mh {

// A named per-vertex array; empty means absent, otherwise one value per vertex.
template<typename T>
struct VertexArray {
    std::string name;
    std::vector<T> values;
};

struct Triangle {
    std::array<std::uint32_t, 3> vertex = {};
    std::uint32_t shader = 0;
};

struct Tetragon {
    std::array<std::uint32_t, 4> vertex = {}; // in order around the face
    std::uint32_t shader = 0;
};

static_assert(sizeof(Triangle) == 16 && sizeof(Tetragon) == 20);

// A group of primitives of one kind family with vertices of its own: particles, or cylinders, or
// triangles and tetragons. AddPart makes it with its "radius" and "uv" arrays.
struct Part {
    std::vector<std::uint32_t> particles; // a vertex each
    std::vector<std::uint32_t> cylinders; // first vertex each; the segment runs to the next vertex
    std::vector<Triangle> triangles;
    std::vector<Tetragon> tetragons;
    std::vector<std::uint32_t>
        strand_lengths; // cylinders per strand; empty unless from a hair input
    std::vector<VertexArray<Vec3>> vec3_arrays;
    std::vector<VertexArray<Vec2>> vec2_arrays;    // entry 0 is "uv"
    std::vector<VertexArray<float>> scalar_arrays; // entry 0 is "radius"
    std::vector<Vec3> positions;
    std::vector<PackedUnit> normals;
    std::vector<PackedUnit> tangents;
    std::string name = "undefined";
    std::string shader_name = "undefined";
    std::uint32_t shader_id = 0;
    bool has_motion = false; // an array is named "motion"
    DensityGrid density;     // cells of the faces; empty outside the root object
};

constexpr std::uint32_t kUnresolved = 0xFFFFFFFFu;

struct Instance {
    Mat4 matrix;        // object space to parent space; rigid matrices keep distances comparable
    Mat4 inverse;       // derived
    Mat3 normal_matrix; // derived: transposed upper left block of the inverse
    Mat3 inverse_block; // derived: upper left block of the inverse
    Aabb world_box;     // derived: the target's box in parent space
    std::uint32_t object = kUnresolved;
    std::string object_name;
    std::string shader_name; // unused after the scene is read
    bool usable = false;     // derived: resolved, invertible, and its target holds primitives
};

// One emitting primitive of an object, or an instance that leads to some.
struct LightPrimitive {
    std::uint32_t part = 0;                       // index within the object
    PrimitiveKind kind = PrimitiveKind::triangle; // triangle, tetragon or instance
    std::uint32_t index = 0;
    bool front = true;   // which side emits
    float weight = 0.0f; // area
};

// A tree of an object as rays walk it.
struct Tree {
    RawVector<WideNode> nodes;               // root at 0; empty when the object has no primitives
    RawVector<PrimitiveRef> references;      // in leaf order
    std::vector<OcclusionLog> occlusion_log; // one per node
    RawVector<WalkUnit> walk;                // what rays read of it all; empty: they hit nothing
    std::uint32_t wide_depth = 0;            // of the deepest node
    double tree_cost = 0.0;                  // of the binary tree after restructuring
};

struct Object {
    Aabb box; // object space: all primitives and instances
    std::string name;
    std::string default_shader_name = "undefined";
    std::uint32_t default_shader = 0; // of parts that name none
    std::vector<Part> parts;
    std::vector<Instance> instances;
    std::uint32_t object_level = 0; // depth in the instance graph, 0 at the root
    bool referenced = false;        // some instance points here
    bool has_motion = false;
    Tree tree;
    RawVector<BinaryNode> binary_nodes; // kept after the build only with motion
    RawVector<PrimitiveRef> binary_references;
    std::vector<LightPrimitive> emission_list, virtual_light_list;
    DiscreteSampler emission_distribution, virtual_light_distribution;
    float emission_weight = 0.0f, virtual_light_weight = 0.0f; // areas
};

extern std::vector<Object> Objects;
extern std::vector<std::string> GeometrySearchPaths;
extern std::int64_t SmoothingTimeMs, DisplacementTimeMs;

} // namespace mh
