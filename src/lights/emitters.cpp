// Picks an emitting face and a point on it.
// SPDX-License-Identifier: MIT
#include "lights/emitters.h"

#include "accel/state.h"
#include "geometry/objects.h"
#include "geometry/state.h"
#include "hit/hit_vertices.h"
#include "math/at.h"
#include "math/axis.h"
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

// The same u is used again within an instance.
bool find_emitter(float u, Emitter& emitter) {
    std::uint32_t number = RootObjectIndex;
    for (int level = 0; number < LightListsOfObjects.size() && level <= kMaxInstanceLevels;
         ++level) {
        const Object& object = Objects[number];
        const LightLists& lists = LightListsOfObjects[number];
        const std::int32_t index = pick(lists.emission_distribution, u);
        if (index < 0) return false;
        const LightPrimitive& primitive = at(lists.emission_list, index);
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

// The point of a face for one of the unit square; even in area on triangles and parallelograms.
HitVertices<3> vertices_at_square(const Triangle& face, const Vec2& ab) {
    const float s = std::sqrt(ab.y);
    return vertices_at(face, 1.0f - s, s * (1.0f - ab.x), ab.x * s);
}

HitVertices<4> vertices_at_square(const Tetragon& face, const Vec2& ab) {
    return vertices_at(face, ab.y, ab.x);
}

void measure(const std::array<Vec3, 3>& p, Vec3& normal, float& area) {
    normal = triangle_normal(p[0], p[1], p[2]);
    area = triangle_area(p[0], p[1], p[2]);
}

void measure(const std::array<Vec3, 4>& p, Vec3& normal, float& area) {
    normal = tetragon_normal(p[0], p[1], p[2], p[3]);
    area = tetragon_area(p[0], p[1], p[2], p[3]);
}

template<std::size_t N>
void place(const Emitter& emitter, const HitVertices<N>& at, EmitterPoint& point) {
    constexpr float kRounding = 4.0f * std::numeric_limits<float>::epsilon();
    const std::vector<Vec3>& positions = emitter.part->positions;
    point.position = transform_point(emitter.matrix, interpolate(at, positions));
    float extent = largest_coordinate(point.position);
    std::array<Vec3, N> corner;
    for (std::size_t i = 0; i < N; ++i) {
        corner[i] = positions[at.vertex[i]];
        extent = std::max(extent, largest_coordinate(transform_point(emitter.matrix, corner[i])));
    }
    point.rounding = kRounding * extent;
    Vec3 normal;
    measure(corner, normal, point.primitive_area);
    const Vec3 outward = unit_direction(emitter.normal_matrix * normal);
    point.normal = point.front ? outward : -outward;
}

template<std::size_t N>
void shade(const Emitter& emitter, const HitVertices<N>& at, EmitterPoint& point) {
    if (!has_record(Shaders, point.shader)) return;
    const Shader& shader = Shaders[to_size(point.shader)];
    SurfacePoint lookup; // the emissive slots read nothing but its uv
    if (!uvs(*emitter.part).empty()) lookup.uv = interpolate(at, uvs(*emitter.part));
    const LayerList& list = layers_of(shader, point.front);
    for (std::int32_t i = 0; i < list.count; ++i) {
        const CompiledLayer& layer = shader.compiled_layers[list.index[to_size(i)]];
        point.emission += evaluate_color(layer, Element::emissive, lookup);
    }
    point.virtual_light = side_of(shader, point.front).virtual_light;
}

template<typename Face>
void set_point(const Emitter& emitter, const Face& face, const Vec2& ab, EmitterPoint& point) {
    const auto at = vertices_at_square(face, ab);
    point.shader = static_cast<std::int32_t>(face.shader);
    place(emitter, at, point);
    shade(emitter, at, point);
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
    point = {};
    point.primitive = static_cast<std::int32_t>(primitive.index);
    point.kind = triangle ? HitKind::triangle : HitKind::tetragon;
    point.front = primitive.front;
    if (triangle)
        set_point(emitter, emitter.part->triangles[primitive.index], ab, point);
    else
        set_point(emitter, emitter.part->tetragons[primitive.index], ab, point);
    return true;
}

} // namespace mh
