// Expands the hit of a ray into a surface point, once per shading: the builders of the primitive
// kinds and the tail that they share. Called by all rendering threads.
// SPDX-License-Identifier: MIT
#include "hit/surface_builder.h"

#include "geometry/types.h"
#include "hit/hit_vertices.h"
#include "math/at.h"
#include "math/axis.h"
#include "math/faces.h"
#include "math/frame.h"
#include "math/random.h"
#include "math/roots.h"
#include "run/estimator.h"
#include "run/state.h"
#include "shading/evaluate.h"
#include "shading/fresnel.h"
#include "shading/microfacet.h"
#include "shading/state.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace mh {

namespace {

constexpr float kSmoothRoughness = 1e-6f; // of layers without roughness; added to that of others

// Of hits on a shader that was never finished.
const CompiledLayer kNoLayer;

inline Vec3 face_normal(const Part& part, const std::array<std::uint32_t, 3>& v) {
    const std::vector<Vec3>& p = part.positions;
    return triangle_normal(p[v[0]], p[v[1]], p[v[2]]);
}

inline Vec3 face_normal(const Part& part, const std::array<std::uint32_t, 4>& v) {
    const std::vector<Vec3>& p = part.positions;
    return tetragon_normal(p[v[0]], p[v[1]], p[v[2]], p[v[3]]);
}

// Arrays of another size than the positions have been reported and count as absent.
template<typename T>
bool is_per_vertex(const std::vector<T>& values, const Part& part) {
    return values.size() == part.positions.size();
}

const std::vector<Vec2>* uvs_of(const Part& part) {
    if (part.vec2_arrays.empty()) return nullptr;
    const std::vector<Vec2>& uvs = part.vec2_arrays[0].values;
    return is_per_vertex(uvs, part) ? &uvs : nullptr;
}

template<std::size_t N>
Vec2 interpolate_uv(const Part& part, const HitVertices<N>& corners) {
    const std::vector<Vec2>* uvs = uvs_of(part);
    return uvs == nullptr ? Vec2{} : interpolate(corners, *uvs);
}

// Whether the part has a unit vector for this vertex; flat faces have none for any of theirs.
bool has_unit(const std::vector<PackedUnit>& units, const Part& part, std::uint32_t vertex) {
    return !units.empty() && is_per_vertex(units, part) && !is_zero(units[vertex]);
}

// Weighted sum of stored unit vectors, normalised; false when the part has none, a corner has none
// or they cancel.
template<std::size_t N>
bool interpolate_units(const std::vector<PackedUnit>& units, const Part& part,
                       const HitVertices<N>& corners, Vec3& result) {
    if (units.empty() || !is_per_vertex(units, part)) return false;
    Vec3 sum_vector;
    for (std::size_t i = 0; i < N; ++i) {
        const PackedUnit& packed = units[corners.vertex[i]];
        if (is_zero(packed)) return false;
        sum_vector += corners.weight[i] * unpack_unit(packed);
    }
    result = normalize(sum_vector);
    return dot(result, result) > 0.5f;
}

// dP/du of the triangle of the first three corners [Lengyel12]; false where the texture
// coordinates have no direction.
bool texture_tangent(const Part& part, const std::uint32_t* v, Vec3& tangent) {
    constexpr float kSmallestSquaredTangent = 1e-8f;
    const std::vector<Vec2>* uvs = uvs_of(part);
    if (uvs == nullptr) return false;
    const Vec3 e1 = part.positions[v[1]] - part.positions[v[0]];
    const Vec3 e2 = part.positions[v[2]] - part.positions[v[0]];
    const Vec2 d1 = (*uvs)[v[1]] - (*uvs)[v[0]];
    const Vec2 d2 = (*uvs)[v[2]] - (*uvs)[v[0]];
    const float determinant = d1.x * d2.y - d2.x * d1.y;
    tangent = (d2.y * e1 - d1.y * e2) / determinant;
    const float square = dot(tangent, tangent);
    return square >= kSmallestSquaredTangent && square < kFar;
}

// Completes the frame of point.normal by the share of `along` that lies across it.
bool align_frame(const Vec3& along, SurfacePoint& point) {
    constexpr float kSmallestSquaredSine = 1e-8f;
    const Vec3 b = cross(point.normal, normalize(along));
    if (!(dot(b, b) > kSmallestSquaredSine)) return false;
    point.bitangent = normalize(b);
    point.tangent = normalize(cross(point.bitangent, point.normal));
    return true;
}

template<std::size_t N>
void build_face_frame(const Part& part, const HitVertices<N>& corners, SurfacePoint& point) {
    if (point.layer->needs_tangents) {
        Vec3 along;
        if ((interpolate_units(part.tangents, part, corners, along)
             || texture_tangent(part, corners.vertex.data(), along))
            && align_frame(along, point))
            return;
    }
    tangent_frame(point.normal, point.tangent, point.bitangent);
}

float layer_draw(const Ray& ray) {
    return ray.cursor.path != 0 ? draw_pair(ray.cursor, Draw::layer).x : random_unit();
}

void choose_layer(const Ray& ray, const Shader& shader, bool front, SurfacePoint& point) {
    const LayerList& list = layers_of(shader, front);
    if (list.count == 0)
        point.layer = &kNoLayer;
    else if (list.count == 1)
        point.layer = &shader.compiled_layers[list.index[0]];
    else
        point.layer =
            &at(shader.compiled_layers, pick_layer(shader, point, front, layer_draw(ray)));
}

// Bound on the error of origin + distance * direction, and of the intersection that gave the
// distance; instances transform both.
float rounding_of_hit(const Ray& ray, const Vec3& position) {
    constexpr float kRounding = 8.0f * std::numeric_limits<float>::epsilon();
    const float scale =
        largest_coordinate(ray.origin) + largest_coordinate(position) + ray.distance;
    return kRounding * scale * static_cast<float>(1 + ray.hit_instance_level);
}

void begin_point(const Ray& ray, SurfacePoint& point) {
    point.position = ray.origin + ray.distance * ray.direction;
    point.outgoing = -ray.direction;
    point.rounding = is_exact() ? rounding_of_hit(ray, point.position) : 0.0f;
    point.uv = {};
    point.roughness_u = point.roughness_v = kSmoothRoughness;
    point.reflectance = 0.0f;
    point.transmittance = 1.0f;
    point.eta = 1.0f;
    point.refraction_kind = Material::opaque;
    point.microfacet = Microfacet::ward;
    point.diffuse_model = DiffuseModel::lambert;
}

// Tangents are carried by the matrix of which the normals' is the transposed inverse.
bool carry_tangent(const Mat3& normal_matrix, SurfacePoint& point) {
    Mat3 matrix;
    return invert(transpose(normal_matrix), matrix)
           && align_frame(unit_direction(matrix * point.tangent), point);
}

// Stored normals are those of the object's space; the matrices of the instances around it bring
// them to the world, outermost first.
void leave_instances(const Ray& ray, SurfacePoint& point) {
    if (ray.hit_instance_level == 0) return;
    const auto& matrices = ThreadStates[ray.thread].instance_normal_matrices;
    const int levels = std::min<int>(ray.hit_instance_level, kMaxInstanceLevels);
    Mat3 product = matrices[0];
    for (int level = 1; level < levels; ++level)
        product = product * at(matrices, level);
    point.geometric_normal = normalize(product * point.geometric_normal);
    point.normal = normalize(normalize(product * point.normal));
    if (is_exact() && carry_tangent(product, point)) return;
    tangent_frame(point.normal, point.tangent, point.bitangent);
}

void rotate_frame(const CompiledLayer& layer, SurfacePoint& point) {
    const float turns = evaluate_level(layer, Element::angle, point);
    if (turns == 0.0f) return;
    const float angle = turns * kTwoPi;
    const float s = std::sin(angle), c = std::cos(angle);
    const Vec3 t = point.tangent, b = point.bitangent;
    point.tangent = c * t - s * b;
    point.bitangent = s * t + c * b;
}

// A texel of zero length says nothing about the normal.
void bend_normal(const CompiledLayer& layer, SurfacePoint& point) {
    const Vec3 local = evaluate_normal_element(element_of(layer, Element::normal), point);
    const Vec3 n = normalize(from_frame(local, point.tangent, point.bitangent, point.normal));
    if (!(dot(n, n) > 0.0f)) return;
    point.normal = n;
    point.bitangent = normalize(cross(n, point.tangent));
    point.tangent = normalize(cross(point.bitangent, n));
}

// The direction closest to the normal, in its plane with the geometric normal g, that mirrors the
// viewer's direction o to at least the height h above the surface; bent normals that do not are
// no normals of a facet that the viewer sees [Schuessler17]. With c = o . g and a = o . x for the
// axis x across g in that plane, the direction at angle t from g mirrors o to the height
// c cos(2 t) + a sin(2 t) = r cos(2 t - p), where c = r cos(p) and a = r sin(p): it is h at the
// largest allowed angle, 2 t = p + acos(h / r).
Vec3 bent_above(const SurfacePoint& point, float c, float h) {
    const Vec3& g = point.geometric_normal;
    const Vec3 x = normalize(point.normal - dot(point.normal, g) * g);
    const float a = dot(point.outgoing, x), square = c * c + a * a;
    const float cos_twice = (c * h - a * safe_root(square - h * h)) / square;
    return normalize(safe_root(0.5f + 0.5f * cos_twice) * g
                     + safe_root(0.5f - 0.5f * cos_twice) * x);
}

// A shading normal that faces away from the viewer, or would reflect the viewer's direction below
// the surface, is replaced by the geometric one; the tangents stay. Lobes of facets, which need an
// orthonormal frame, have it bent no further than that takes, so that rims of round bodies, and
// steep texels, do not mirror what only flat faces would.
void keep_reflection_above(SurfacePoint& point) {
    constexpr float kLeastHeight = 0.01f; // of mirrored light; less where the viewer is lower
    point.cos_outgoing = dot(point.outgoing, point.normal);
    if (point.normal == point.geometric_normal) return;
    const float height = dot(point.outgoing, point.geometric_normal);
    const bool bends = point.layer->has_models && height > 0.0f;
    const float least = bends ? std::min(kLeastHeight, 0.5f * height) : 0.0f;
    const Vec3 reflected = 2.0f * point.cos_outgoing * point.normal - point.outgoing;
    if (point.cos_outgoing > 0.0f && dot(reflected, point.geometric_normal) >= least) return;
    point.normal = bends ? bent_above(point, height, least) : point.geometric_normal;
    point.normal_replaced = true;
    point.cos_outgoing = dot(point.outgoing, point.normal);
    if (point.layer->has_models && !align_frame(point.tangent, point))
        tangent_frame(point.normal, point.tangent, point.bitangent);
}

void set_roughness(const CompiledLayer& layer, SurfacePoint& point) {
    constexpr float kNarrowest = 1e-4f; // of 1 - anisotropy: at 0 the wide axis has no bound
    if (!layer.has_roughness) return;
    const float r = evaluate_level(layer, Element::roughness, point);
    point.roughness_u = point.roughness_v = std::max(0.0f, r) + kSmoothRoughness;
    if (!layer.has_anisotropy) return;
    const float anisotropy = evaluate_level(layer, Element::anisotropy, point);
    const float a = std::max(kNarrowest, 1.0f - anisotropy);
    point.roughness_u *= a;
    point.roughness_v /= a;
}

float bounded_index(const CompiledLayer& layer, const SurfacePoint& point) {
    constexpr float kLargestIndex = 1e18f; // reflects all light
    const float index = evaluate_level(layer, Element::ior, point);
    return std::min(std::max(0.0f, index), kLargestIndex);
}

void set_fresnel(const CompiledLayer& layer, const Ray& ray, SurfacePoint& point) {
    point.refraction_kind = layer.material;
    if (!layer.has_fresnel) return;
    const float ior = bounded_index(layer, point);
    point.eta = ray.front_side ? 1.0f / ior : ior;
    if (layer.material == Material::thin) point.eta = 1.0f;
    if (std::fabs(ior - 1.0f) < kSameIndex) return;
    const float f = schlick(normal_reflectance(ior), point.cos_outgoing);
    point.reflectance = layer.material == Material::thin ? sheet_reflectance(f) : f;
    point.transmittance = 1.0f - point.reflectance;
}

void set_models(const CompiledLayer& layer, SurfacePoint& point) {
    if (!layer.has_models) return;
    const bool solid = layer.material == Material::solid;
    point.microfacet = layer.microfacet;
    point.diffuse_model = layer.diffuse_model;
    point.f0 = solid ? Vec3{} : evaluate_element(element_of(layer, Element::f0), point);
    point.facet_ior = solid ? 1.0f / point.eta : bounded_index(layer, point);
    if (keeps_emission(layer)) point.transmittance = 1.0f;
}

void finish_surface_point(const Ray& ray, SurfacePoint& point) {
    const CompiledLayer& layer = *point.layer;
    leave_instances(ray, point);
    if (layer.has_angle) rotate_frame(layer, point);
    if (layer.has_normal_map) bend_normal(layer, point);
    keep_reflection_above(point);
    set_roughness(layer, point);
    set_fresnel(layer, ray, point);
    set_models(layer, point);
}

// Triangles and tetragons.
template<typename Face>
void build_face_point(const Ray& ray, const Shader& shader, const Face& face, SurfacePoint& point) {
    const Part& part = *ray.hit_part;
    const auto corners = hit_vertices(face, ray);
    const float side = ray.front_side ? 1.0f : -1.0f;
    if (shader.has_image) point.uv = interpolate_uv(part, corners);
    choose_layer(ray, shader, ray.front_side, point);
    point.geometric_normal = side * face_normal(part, face.vertex);
    point.normal = point.geometric_normal;
    if (point.use_density && point.layer->plain_diffuse) { // emission needs no more than this
        point.cos_outgoing = dot(point.outgoing, point.normal);
        return;
    }
    Vec3 vertex_normal;
    if ((!point.use_density || point.layer->has_reflective)
        && has_unit(part.normals, part, face.vertex[0])
        && interpolate_units(part.normals, part, corners, vertex_normal))
        point.normal = side * vertex_normal;
    build_face_frame(part, corners, point);
    finish_surface_point(ray, point);
}

void build_particle_point(const Ray& ray, const Shader& shader, SurfacePoint& point) {
    const Part& part = *ray.hit_part;
    if (shader.has_image) {
        const std::uint32_t vertex = at(part.particles, ray.hit_primitive);
        point.uv = interpolate_uv(part, HitVertices<1>{{vertex}, {1.0f}});
    }
    choose_layer(ray, shader, ray.front_side, point);
    const Vec3 outward = unit_direction({ray.hit_a, ray.hit_b, ray.hit_c});
    point.normal = ray.front_side ? outward : -outward;
    point.geometric_normal = point.normal;
    tangent_frame(point.normal, point.tangent, point.bitangent);
    finish_surface_point(ray, point);
}

// Unit direction of the segment at the hit: the curve's stored tangents, or its chord without them.
Vec3 hair_axis(const Part& part, const HitVertices<2>& ends) {
    Vec3 axis;
    if (is_per_vertex(part.tangents, part))
        for (std::size_t i = 0; i < 2; ++i)
            axis += ends.weight[i] * unpack_unit(part.tangents[ends.vertex[i]]);
    const bool has_tangent = dot(axis, axis) > kSmallestSquare;
    if (!has_tangent) axis = part.positions[ends.vertex[1]] - part.positions[ends.vertex[0]];
    return unit_direction(axis);
}

// A random point of the round section that the viewer sees: h is the offset from its middle.
void place_on_section(const Vec3& axis, const Vec3& direction, float h, SurfacePoint& point) {
    Vec3 side = normalize(cross(axis, direction));
    Vec3 towards_viewer = cross(axis, side);
    if (dot(side, side) == 0.0f) tangent_frame(axis, side, towards_viewer);
    point.tangent = axis;
    point.normal = h * side + safe_root(1.0f - h * h) * towards_viewer;
    point.geometric_normal = point.normal;
    point.bitangent = cross(point.normal, axis);
    point.cos_outgoing = dot(point.outgoing, point.normal);
}

void build_hair_point(const Ray& ray, const Shader& shader, SurfacePoint& point) {
    const Part& part = *ray.hit_part;
    const std::uint32_t first = at(part.cylinders, ray.hit_primitive);
    const HitVertices<2> ends = vertices_at(first, ray.hit_c);
    if (shader.has_image) point.uv = interpolate_uv(part, ends);
    choose_layer(ray, shader, true, point);
    const float u = ray.cursor.path != 0 ? draw_pair(ray.cursor, Draw::layer).y : random_unit();
    place_on_section(hair_axis(part, ends), ray.direction, 2.0f * u - 1.0f, point);
    point.hair_width = 0.0f;
    if (part.scalar_arrays.empty() || !is_per_vertex(part.scalar_arrays[0].values, part)) return;
    const std::vector<float>& radii = part.scalar_arrays[0].values;
    point.hair_width = ends.weight[0] * radii[first] + ends.weight[1] * radii[first + 1];
}

} // namespace

void build_surface_point(const Ray& ray, SurfacePoint& point) {
    const Shader& shader = at(Shaders, ray.hit_shader);
    const auto primitive = to_size(ray.hit_primitive);
    begin_point(ray, point);
    switch (ray.hit_kind) {
    case HitKind::particle: return build_particle_point(ray, shader, point);
    case HitKind::hair: return build_hair_point(ray, shader, point);
    case HitKind::triangle:
        return build_face_point(ray, shader, ray.hit_part->triangles[primitive], point);
    case HitKind::tetragon:
        return build_face_point(ray, shader, ray.hit_part->tetragons[primitive], point);
    case HitKind::none:
    case HitKind::unset: break;
    }
    std::abort();
}

FaceEnd end_on_face(const Ray& ray) {
    const Part& part = *ray.hit_part;
    const auto face = to_size(ray.hit_primitive);
    const Vec3 normal = ray.hit_kind == HitKind::triangle
                            ? face_normal(part, part.triangles[face].vertex)
                            : face_normal(part, part.tetragons[face].vertex);
    const Vec3 towards_viewer = ray.front_side ? normal : -normal;
    const Vec3 position = ray.origin + ray.distance * ray.direction;
    return {position + rounding_of_hit(ray, position) * towards_viewer, towards_viewer};
}

int pick_layer(const Shader& shader, const SurfacePoint& point, bool front, float u) {
    const LayerList& list = layers_of(shader, front);
    const int last = list.count - 1;
    if (last == 0) return list.index[0];
    std::array<float, 16> sums;
    float total = 0.0f;
    for (int i = 0; i <= last; ++i) {
        const auto slot = to_size(i);
        const CompiledLayer& layer = shader.compiled_layers[list.index[slot]];
        total += evaluate_level(layer, Element::weight, point);
        sums[slot] = total;
    }
    const auto begin = sums.begin();
    const auto found = std::upper_bound(begin, begin + list.count, u * total);
    return at(list.index, std::min<std::ptrdiff_t>(found - begin, last));
}

namespace {

// active(element, present, color): whether a slot counts; then its colour, black before.
template<typename Active>
void evaluate_slots(bool hair, SurfacePoint& point, const Active& active) {
    const CompiledLayer& layer = *point.layer;
    point.lambertian_active = point.transmissive_active = point.diffusion_active = false;
    point.specular_active = false;
    if (!point.use_density) {
        point.lambertian_active =
            active(Element::lambertian, layer.lambertian_present, point.lambertian_color);
        if (!hair) {
            point.transmissive_active =
                active(Element::transmissive, layer.transmissive_present, point.transmissive_color);
            point.diffusion_active =
                active(Element::diffusion, layer.diffusion_present, point.diffusion_color);
        }
    }
    point.glossy_active = active(Element::glossy, layer.glossy_present, point.glossy_color);
    if (!hair)
        point.specular_active =
            active(Element::specular, layer.specular_present, point.specular_color);
}

} // namespace

void evaluate_layers(const Ray& ray, SurfacePoint& point) {
    const CompiledLayer& layer = *point.layer;
    const bool hair = ray.hit_kind == HitKind::hair;
    if (layer.has_image) // which may lift or darken any slot
        return evaluate_slots(hair, point, [&](Element element, bool, Vec3& color) {
            return evaluate_layer(layer, element, point, color);
        });
    evaluate_slots(hair, point, [&](Element element, bool present, Vec3& color) {
        if (present) color = at(layer.colors, element);
        return present;
    });
}

} // namespace mh
