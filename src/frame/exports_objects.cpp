// Exported functions: objects, their parts and instances. Indices of vertices are not checked here:
// positions may come later, and the finish of a part drops what names none.
// SPDX-License-Identifier: MIT
#include "frame/host_calls.h"
#include "frame/moonhare.h"
#include "geometry/objects.h"
#include "geometry/state.h"
#include "math/at.h"
#include "shading/state.h"

#include <algorithm>
#include <cstring>

namespace mh {

namespace {

Object* object_at(const char* call, int object) {
    return MayBuild(call, Phase::accelerator) ? RecordAt(call, Objects, "object", object) : nullptr;
}

Part* part_at(const char* call, int object, int part) {
    Object* record = object_at(call, object);
    return record == nullptr ? nullptr : RecordAt(call, record->parts, "part", part);
}

// Null unless there is something to append.
Part* part_for(const char* call, int object, int part, int count, const void* values) {
    Part* record = part_at(call, object, part);
    return record != nullptr && HasValues(call, count, values) ? record : nullptr;
}

Vec3 vec3_of(const float* values) {
    return {values[0], values[1], values[2]};
}

Vec2 vec2_of(const float* values) {
    return {values[0], values[1]};
}

// Appends `count` elements that `make` forms of `width` values each.
template<int width, typename T, typename Source, typename Make>
void append(std::vector<T>& list, int count, const Source* values, Make make) {
    list.reserve(std::max(list.capacity(), list.size() + to_size(count)));
    for (const Source* end = values + std::ptrdiff_t{count} * width; values != end; values += width)
        list.push_back(make(values));
}

template<typename Face>
void append_faces(std::vector<Face>& list, int count, const int* indices, std::uint32_t shader) {
    constexpr int kCorners = static_cast<int>(std::tuple_size_v<decltype(Face::vertex)>);
    append<kCorners>(list, count, indices, [shader](const int* corner) {
        Face face;
        face.shader = shader;
        for (std::uint32_t& vertex : face.vertex)
            vertex = static_cast<std::uint32_t>(*corner++);
        return face;
    });
}

template<int width, typename T, typename Make>
void add_array(std::vector<VertexArray<T>>& arrays, const char* name, int count,
               const float* values, Make make) {
    VertexArray<T>& array = arrays.emplace_back();
    array.name = name;
    append<width>(array.values, count, values, make);
}

float float_of(const float* value) {
    return *value;
}

std::uint32_t index_of(const int* index) {
    return static_cast<std::uint32_t>(*index);
}

PackedUnit packed_of(const float* values) {
    return pack_unit(vec3_of(values));
}

} // namespace

extern "C" {

MH_API int mhAddObject(void) try {
    return MayBuild(__func__, Phase::accelerator) ? AddObject() : -1;
}
MH_CATCH(-1)

MH_API void mhSetObjectName(int object, const char* name) try {
    if (Object* record = object_at(__func__, object)) SetText(__func__, name, record->name);
}
MH_CATCH()

MH_API int mhAddPart(int object) try {
    Object* record = object_at(__func__, object);
    return record == nullptr ? -1 : AddPart(*record);
}
MH_CATCH(-1)

MH_API void mhSetShaderID(int object, int part, int shader) try {
    Part* record = part_at(__func__, object, part);
    if (record == nullptr || !IsRecord(__func__, "shader", shader, Shaders.size())) return;
    record->shader_id = static_cast<std::uint32_t>(shader);
}
MH_CATCH()

MH_API void mhAddPositions(int object, int part, int count, const float* positions) try {
    if (Part* record = part_for(__func__, object, part, count, positions))
        append<3>(record->positions, count, positions, vec3_of);
}
MH_CATCH()

MH_API void mhAddNormals(int object, int part, int count, const float* normals) try {
    if (Part* record = part_for(__func__, object, part, count, normals))
        append<3>(record->normals, count, normals, packed_of);
}
MH_CATCH()

MH_API void mhAddTangents(int object, int part, int count, const float* tangents) try {
    if (Part* record = part_for(__func__, object, part, count, tangents))
        append<3>(record->tangents, count, tangents, packed_of);
}
MH_CATCH()

MH_API void mhAddUVs(int object, int part, int count, const float* uvs) try {
    if (Part* record = part_for(__func__, object, part, count, uvs))
        append<2>(mh::uvs(*record), count, uvs, vec2_of);
}
MH_CATCH()

MH_API void mhAddRadii(int object, int part, int count, const float* radii) try {
    if (Part* record = part_for(__func__, object, part, count, radii))
        append<1>(mh::radii(*record), count, radii, float_of);
}
MH_CATCH()

MH_API void mhAddTriangles(int object, int part, int count, const int* indices) try {
    if (Part* record = part_for(__func__, object, part, count, indices))
        append_faces(record->triangles, count, indices, record->shader_id);
}
MH_CATCH()

MH_API void mhAddTetragons(int object, int part, int count, const int* indices) try {
    if (Part* record = part_for(__func__, object, part, count, indices))
        append_faces(record->tetragons, count, indices, record->shader_id);
}
MH_CATCH()

MH_API void mhAddCylinders(int object, int part, int count, const int* indices) try {
    if (Part* record = part_for(__func__, object, part, count, indices))
        append<1>(record->cylinders, count, indices, index_of);
}
MH_CATCH()

MH_API void mhAddParticles(int object, int part, int count, const int* indices) try {
    if (Part* record = part_for(__func__, object, part, count, indices))
        append<1>(record->particles, count, indices, index_of);
}
MH_CATCH()

MH_API void mhAddVertexData(int object, int part, const char* name, int count, int components,
                            const float* values) try {
    Part* record = part_for(__func__, object, part, count, values);
    if (record == nullptr || !IsGiven(__func__, "the name", name)) return;
    switch (components) {
    case 1: return add_array<1>(record->scalar_arrays, name, count, values, float_of);
    case 2: return add_array<2>(record->vec2_arrays, name, count, values, vec2_of);
    case 3: return add_array<3>(record->vec3_arrays, name, count, values, vec3_of);
    default: ReportFault(__func__, HostFault::value, "components is " + std::to_string(components));
    }
}
MH_CATCH()

MH_API int mhAddInstance(int object) try {
    Object* record = object_at(__func__, object);
    return record == nullptr ? -1 : AddInstance(*record);
}
MH_CATCH(-1)

// The name has no effect once the target is set.
MH_API void mhSetInstance(int object, int instance, int target, float (*matrix)[4]) try {
    Object* owner = object_at(__func__, object);
    if (owner == nullptr || !IsRecord(__func__, "object", target, Objects.size())) return;
    Instance* record = RecordAt(__func__, owner->instances, "instance", instance);
    if (record == nullptr) return;
    record->object = static_cast<std::uint32_t>(target);
    record->object_name = "particles";
    if (matrix != nullptr) std::memcpy(record->matrix.m, matrix, sizeof record->matrix.m);
}
MH_CATCH()

} // extern "C"

} // namespace mh
