// Collection of the lamps and their emission.
// SPDX-License-Identifier: MIT
#include "lights/lamps.h"

#include "accel/state.h"
#include "geometry/state.h"
#include "lights/emitters.h"
#include "lights/lamp_shape.h"
#include "lights/lamp_tree.h"
#include "lights/state.h"
#include "math/at.h"
#include "math/axis.h"
#include "math/count_text.h"
#include "math/memory.h"
#include "math/roots.h"
#include "run/report.h"
#include "run/types.h"
#include "shading/evaluate.h"
#include "shading/fresnel.h"
#include "shading/microfacet.h"
#include "shading/state.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace mh {

namespace {

constexpr float kRounding = 8.0f * std::numeric_limits<float>::epsilon();

// The way from an object to the scene.
struct Placement {
    Mat4 matrix;
    Mat3 normal_matrix;
};

float weight_of(const CompiledLayer& layer, const SurfacePoint& lookup) {
    return evaluate_level(layer, Element::weight, lookup);
}

// Calls act(layer, share) for the layers of the side.
template<typename Act>
void for_each_layer(const Lamp& lamp, const SurfacePoint& lookup, const Act& act) {
    const Shader& shader = Shaders[lamp.shader];
    const LayerList& list = layers_of(shader, lamp.front);
    const auto layer_at = [&](int i) -> const CompiledLayer& {
        return shader.compiled_layers[at(list.index, i)];
    };
    if (list.count == 1) return act(layer_at(0), 1.0f);
    float total = 0.0f;
    for (int i = 0; i < list.count; ++i)
        total += weight_of(layer_at(i), lookup);
    for (int i = 0; i < list.count; ++i)
        act(layer_at(i), total > 0.0f ? weight_of(layer_at(i), lookup) / total : 0.0f);
}

// What a layer lets out of its emission at this cosine.
float passed_share(const CompiledLayer& layer, const SurfacePoint& lookup, float cosine) {
    if (!layer.has_fresnel || keeps_emission(layer)) return 1.0f;
    const float index = evaluate_level(layer, Element::ior, lookup);
    if (std::fabs(index - 1.0f) < kSameIndex) return 1.0f;
    const float f = schlick(normal_reflectance(std::max(index, 0.0f)), cosine);
    return 1.0f - (layer.material == Material::thin ? sheet_reflectance(f) : f);
}

// A layer that shows the sky is found by bounces alone.
bool counts(const CompiledLayer& layer, bool sampled) {
    return !layer.window && (layer.virtual_light || !sampled);
}

Vec3 emission_of(const Lamp& lamp, const SurfacePoint& lookup, float cosine, bool sampled) {
    Vec3 sum;
    for_each_layer(lamp, lookup, [&](const CompiledLayer& layer, float share) {
        if (!counts(layer, sampled) || !(share > 0.0f)) return;
        const Vec3 emission = evaluate_color(layer, Element::emissive, lookup);
        sum += share * passed_share(layer, lookup, cosine) * emission;
    });
    return sum;
}

// The emissive and weight slots read nothing but the place in their textures.
SurfacePoint lookup_at(const Lamp& lamp, const Vec2& place) {
    SurfacePoint lookup;
    if (!Shaders[lamp.shader].has_image || lamp.part->vec2_arrays.empty()) return lookup;
    const std::vector<Vec2>& uvs = lamp.part->vec2_arrays[0].values;
    if (uvs.size() != lamp.part->positions.size()) return lookup;
    const float s = place.x, t = place.y;
    if (lamp.triangle) {
        const auto& v = lamp.part->triangles[lamp.primitive].vertex;
        lookup.uv = (1.0f - s - t) * uvs[v[0]] + s * uvs[v[1]] + t * uvs[v[2]];
    } else {
        const auto& v = lamp.part->tetragons[lamp.primitive].vertex;
        lookup.uv = (1.0f - s) * (1.0f - t) * uvs[v[0]] + s * (1.0f - t) * uvs[v[1]]
                    + s * t * uvs[v[2]] + (1.0f - s) * t * uvs[v[3]];
    }
    return lookup;
}

// Coordinates of an even point of the face for a point of the unit square.
Vec2 on_face(const Lamp& lamp, const Vec2& uv) {
    const float root = std::sqrt(uv.x);
    return lamp.triangle ? Vec2{root * (1.0f - uv.y), root * uv.y} : uv;
}

// Mean over a grid of points of the face, and never so far below the slot's colour that a spot
// between them could be lost.
Vec3 mean_emission(const Lamp& lamp) {
    constexpr int kGrid = 8;
    constexpr float kFloor = 0.02f;
    Vec3 sum;
    for (int i = 0; i < kGrid * kGrid; ++i) {
        const float u = (static_cast<float>(i % kGrid) + 0.5f) / kGrid;
        const float v = (static_cast<float>(i / kGrid) + 0.5f) / kGrid;
        const Vec2 place = on_face(lamp, {u, v});
        sum += emission_of(lamp, lookup_at(lamp, place), 1.0f, false);
    }
    Vec3 brightest;
    for_each_layer(lamp, {}, [&](const CompiledLayer& layer, float) {
        brightest += at(layer.colors, Element::emissive);
    });
    return max(sum / float{kGrid * kGrid}, kFloor * brightest);
}

void set_emission(Lamp& lamp) {
    bool plain = !Shaders[lamp.shader].has_image;
    for_each_layer(lamp, {}, [&](const CompiledLayer& layer, float) {
        lamp.sampled |= layer.virtual_light && counts(layer, true);
        plain = plain && !layer.has_fresnel && layer.virtual_light && !layer.window;
    });
    lamp.even = plain;
    lamp.emission = plain ? emission_of(lamp, {}, 1.0f, false) : mean_emission(lamp);
}

Lamp make_lamp(const Object& object, const LightPrimitive& primitive, const Placement& placement) {
    Lamp lamp;
    lamp.part = &object.parts[primitive.part];
    lamp.primitive = primitive.index;
    lamp.front = primitive.front;
    lamp.triangle = primitive.kind == PrimitiveKind::triangle;
    const std::vector<Vec3>& positions = lamp.part->positions;
    const auto place = [&](std::uint32_t vertex) {
        return transform_point(placement.matrix, positions[vertex]);
    };
    if (lamp.triangle) {
        const Triangle& face = lamp.part->triangles[primitive.index];
        lamp.corner = place(face.vertex[0]);
        lamp.edge_u = place(face.vertex[1]) - lamp.corner;
        lamp.edge_v = place(face.vertex[2]) - lamp.corner;
        lamp.shader = face.shader;
    } else {
        const Tetragon& face = lamp.part->tetragons[primitive.index];
        lamp.corner = place(face.vertex[0]);
        lamp.edge_u = place(face.vertex[1]) - lamp.corner;
        lamp.edge_v = place(face.vertex[3]) - lamp.corner;
        lamp.shader = face.shader;
    }
    // A mirrored instance turns the cross product, not the normal, to the other side.
    const Mat3& m = placement.normal_matrix;
    const Vec3 rows[3] = {{m.m[0][0], m.m[0][1], m.m[0][2]},
                          {m.m[1][0], m.m[1][1], m.m[1][2]},
                          {m.m[2][0], m.m[2][1], m.m[2][2]}};
    const bool mirrored = dot(rows[0], cross(rows[1], rows[2])) < 0.0f;
    FinishLamp(lamp, lamp.front != mirrored);
    return lamp;
}

void collect(std::uint32_t number, const Placement& placement, int level, LampSet& set) {
    const Object& object = Objects[number];
    for (const LightPrimitive& primitive : LightListsOfObjects[number].emission_list) {
        if (primitive.kind != PrimitiveKind::instance) {
            Lamp lamp = make_lamp(object, primitive, placement);
            if (lamp.shader >= Shaders.size() || !(lamp.area > 0.0f)) continue;
            set_emission(lamp);
            if (any_above(lamp.emission, 0.0f)) set.lamps.push_back(lamp);
            continue;
        }
        const Instance& instance = object.instances[primitive.index];
        if (!instance.usable || level >= kMaxInstanceLevels) continue;
        if (LightListsOfObjects[instance.object].emission_list.empty()) continue;
        collect(
            instance.object,
            {placement.matrix * instance.matrix, placement.normal_matrix * instance.normal_matrix},
            level + 1, set);
    }
}

// How many lamps collect() may find in an object, each of its instances with its own.
double count_lamps(std::uint32_t number, int level, std::vector<double>& counts) {
    double& count = counts[number];
    if (count >= 0.0) return count;
    double sum = 0.0;
    for (const LightPrimitive& primitive : LightListsOfObjects[number].emission_list) {
        if (primitive.kind != PrimitiveKind::instance) {
            ++sum;
            continue;
        }
        const Instance& instance = Objects[number].instances[primitive.index];
        if (instance.usable && level < kMaxInstanceLevels)
            sum += count_lamps(instance.object, level + 1, counts);
    }
    return count = sum;
}

// Whether all lamps of the scene fit; else light reaches surfaces by bounces alone.
bool reserve_lamps(LampSet& set) {
    std::vector<double> counts(Objects.size(), -1.0);
    const double count = count_lamps(RootObjectIndex, 0, counts);
    constexpr std::size_t kBytesOfPower = 12; // in the table by power
    if (!FitsMemory(count
                    * static_cast<double>(sizeof(Lamp) + TreeBytesOfLamp() + kBytesOfPower))) {
        const double shown = std::min(count, 1e18);
        ReportError("geometry light - "
                    + CountText(static_cast<std::int64_t>(shown), "emitting face")
                    + " with those of instances need more memory than there is; they light by"
                      " bounces alone");
        return false;
    }
    set.lamps.reserve(static_cast<std::size_t>(count));
    return true;
}

void set_powers(LampSet& set) {
    CreateSampler(set.by_power, static_cast<std::int32_t>(set.lamps.size()));
    for (std::size_t i = 0; i < set.lamps.size(); ++i)
        set_weight(set.by_power, static_cast<std::int32_t>(i),
                   mean(set.lamps[i].emission) * set.lamps[i].area);
    FinishSampler(set.by_power);
}

float rounding_of(const Lamp& lamp) {
    return kRounding
           * (largest_coordinate(lamp.corner) + largest_coordinate(lamp.edge_u)
              + largest_coordinate(lamp.edge_v));
}

bool is_virtual(const Lamp& lamp) {
    return side_of(Shaders[lamp.shader], lamp.front).virtual_light;
}

} // namespace

void CollectLamps(LampSet& set) {
    set = {};
    if (root_lights() == nullptr || !reserve_lamps(set)) return;
    collect(RootObjectIndex, {}, 0, set);
    BuildLampTree(set);
    set_powers(set);
}

Vec3 uneven_emission(const Lamp& lamp, const Vec3& position, const Vec3& direction, bool sampled) {
    const float cosine = dot(direction, lamp.normal);
    return emission_of(lamp, lookup_at(lamp, place_on(lamp, position)), cosine, sampled);
}

bool sample_lamp_power(float u, const Vec2& ab, EmitterPoint& point) {
    const LampSet& set = GeometryLight.lamps;
    const std::int32_t index = pick(set.by_power, u);
    point = {};
    if (index < 0) return false;
    const Lamp& lamp = at(set.lamps, index);
    const Vec2 place = on_face(lamp, ab);
    point.position = lamp.corner + place.x * lamp.edge_u + place.y * lamp.edge_v;
    point.normal = lamp.normal;
    point.rounding = rounding_of(lamp);
    point.virtual_light = is_virtual(lamp);
    const Vec3 emission =
        lamp.even ? lamp.emission : emission_of(lamp, lookup_at(lamp, place), 1.0f, false);
    // Per photon the whole of the scene's lamps has GeometryLight.area; this one has its share.
    point.emission =
        emission * (lamp.area / (probability(set.by_power, index) * GeometryLight.area));
    return true;
}

} // namespace mh
