// Objects, parts and instances: how geometry is held from the scene input to the last ray.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/box.h"
#include "math/matrix.h"
#include "math/packed_unit.h"
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
    bool has_motion = false;    // an array is named "motion"
    bool whole_strands = false; // all vertices get a tangent, so that all segments are drawn
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
};

} // namespace mh
