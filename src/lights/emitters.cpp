// Picks an emitting face and a point on it.
// SPDX-License-Identifier: MIT
#include "lights/emitters.h"

#include "accel/state.h"
#include "geometry/objects.h"
#include "geometry/state.h"
#include "math/faces.h"
#include "math/roots.h"
#include "run/types.h"
#include "shading/evaluate.h"
#include "shading/state.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace mh {

namespace {

// An emitting face and the way from its object to the scene.
struct Emitter {
    const Part* part = nullptr;
    const LightPrimitive* primitive = nullptr;
    Mat4 matrix;
    Mat3 normal_matrix;
};

// Corners of a face and their weights at a point.
struct FacePoint {
    std::array<std::uint32_t, 4> vertex = {};
    std::array<float, 4> weight = {};
    std::size_t count = 0;
    std::uint32_t shader = 0;
};

// The same u is used again within an instance.
bool find_emitter(float u, Emitter& emitter) {
    std::uint32_t number = RootObjectIndex;
    for (int level = 0; number < LightListsOfObjects.size() && level <= kMaxInstanceLevels;
         ++level) {
        const Object& object = Objects[number];
        const LightLists& lists = LightListsOfObjects[number];
        const std::int32_t index = pick(lists.emission_distribution, u);
        if (index < 0) return false;
        const LightPrimitive& primitive = lists.emission_list[static_cast<std::size_t>(index)];
        if (primitive.kind != PrimitiveKind::instance) {
            emitter.part = &object.parts[primitive.part];
            emitter.primitive = &primitive;
            return true;
        }
        const Instance& instance = object.instances[primitive.index];
        if (!instance.usable) return false;
        emitter.matrix = emitter.matrix * instance.matrix;
        emitter.normal_matrix = emitter.normal_matrix * instance.normal_matrix;
        number = instance.object;
    }
    return false;
}

FacePoint triangle_point(const Triangle& face, const Vec2& ab) {
    const float s = std::sqrt(ab.y);
    return {{face.vertex[0], face.vertex[1], face.vertex[2], 0},
            {1.0f - s, s * (1.0f - ab.x), ab.x * s, 0.0f},
            3,
            face.shader};
}

// Bilinear weights in the order of the corners: the hit parameters of the point are (b, a).
FacePoint tetragon_point(const Tetragon& face, const Vec2& ab) {
    const float a = ab.x, b = ab.y;
    return {face.vertex,
            {(1.0f - a) * (1.0f - b), a * (1.0f - b), a * b, (1.0f - a) * b},
            4,
            face.shader};
}

template<typename T>
T interpolate(const FacePoint& face, const std::vector<T>& values) {
    T result;
    for (std::size_t i = 0; i < face.count; ++i)
        result = result + face.weight[i] * values[face.vertex[i]];
    return result;
}

float largest_coordinate(const Vec3& p) {
    return std::max({std::fabs(p.x), std::fabs(p.y), std::fabs(p.z)});
}

// Also of normals of tiny faces, which normalize() leaves too short.
Vec3 unit(const Vec3& v) {
    const float largest = largest_coordinate(v);
    return largest > 0.0f ? normalize(v / largest) : v;
}

void place(const Emitter& emitter, const FacePoint& face, EmitterPoint& point) {
    constexpr float kRounding = 4.0f * std::numeric_limits<float>::epsilon();
    const std::vector<Vec3>& positions = emitter.part->positions;
    point.position = transform_point(emitter.matrix, interpolate(face, positions));
    float extent = largest_coordinate(point.position);
    std::array<Vec3, 4> corner;
    for (std::size_t i = 0; i < face.count; ++i) {
        corner[i] = positions[face.vertex[i]];
        extent = std::max(extent, largest_coordinate(transform_point(emitter.matrix, corner[i])));
    }
    point.rounding = kRounding * extent;
    const bool triangle = face.count == 3;
    const Vec3 normal = triangle ? triangle_normal(corner[0], corner[1], corner[2])
                                 : tetragon_normal(corner[0], corner[1], corner[2], corner[3]);
    point.primitive_area = triangle ? triangle_area(corner[0], corner[1], corner[2])
                                    : tetragon_area(corner[0], corner[1], corner[2], corner[3]);
    const Vec3 outward = unit(emitter.normal_matrix * normal);
    point.normal = point.front ? outward : -outward;
}

void shade(const Emitter& emitter, const FacePoint& face, EmitterPoint& point) {
    if (face.shader >= Shaders.size()) return;
    const Shader& shader = Shaders[face.shader];
    SurfacePoint lookup; // the emissive slots read nothing but its uv
    if (!uvs(*emitter.part).empty()) lookup.uv = interpolate(face, uvs(*emitter.part));
    const LayerList& list = point.front ? shader.face_layers : shader.back_layers;
    for (std::int32_t i = 0; i < list.count; ++i) {
        const SurfaceLayer& layer = shader.layers[list.index[static_cast<std::size_t>(i)]];
        point.emission += evaluate_element(element_of(layer, Element::emissive), lookup);
    }
    point.virtual_light = (point.front ? shader.face : shader.back).virtual_light;
}

} // namespace

const LightLists* root_lights() {
    return RootObjectIndex < LightListsOfObjects.size() ? &LightListsOfObjects[RootObjectIndex]
                                                        : nullptr;
}

bool sample_emitter(float u, const Vec2& ab, EmitterPoint& point) {
    Emitter emitter;
    if (!find_emitter(u, emitter)) return false;
    const LightPrimitive& primitive = *emitter.primitive;
    const bool triangle = primitive.kind == PrimitiveKind::triangle;
    const FacePoint face = triangle ? triangle_point(emitter.part->triangles[primitive.index], ab)
                                    : tetragon_point(emitter.part->tetragons[primitive.index], ab);
    point = {};
    point.primitive = static_cast<std::int32_t>(primitive.index);
    point.kind = triangle ? HitKind::triangle : HitKind::tetragon;
    point.front = primitive.front;
    point.shader = static_cast<std::int32_t>(face.shader);
    place(emitter, face, point);
    shade(emitter, face, point);
    return true;
}

} // namespace mh
