// The entries of the walks: from a ray to the query of a kernel and back.
// SPDX-License-Identifier: MIT
#include "accel/walk.h"

#include "accel/state.h"
#include "accel/walk_types.h"
#include "geometry/state.h"
#include "math/at.h"
#include "math/roots.h"
#include "run/estimator.h"
#include "run/state.h"

#include <array>
#include <atomic>

namespace mh {

static_assert(kWalkLevels == kMaxInstanceLevels);

namespace {

std::uint64_t identity(HitKind kind, std::int32_t primitive) {
    return static_cast<std::uint32_t>(primitive)
           | static_cast<std::uint64_t>(static_cast<std::uint8_t>(kind)) << 32;
}

constexpr unsigned bit(Visibility visibility) {
    return 1u << static_cast<unsigned>(visibility);
}

unsigned visible_to(const Ray& ray) {
    if (ray.depth != 0)
        return bit(Visibility::camera_only) | bit(Visibility::light_only) | bit(Visibility::all);
    return bit(Visibility::all)
           | bit(ray.photon ? Visibility::light_only : Visibility::camera_only);
}

// 1 / d; infinity for zeros of both signs.
Vec3 inverse_direction(const Vec3& d) {
    return {1.0f / (d.x + 0.0f), 1.0f / (d.y + 0.0f), 1.0f / (d.z + 0.0f)};
}

// The same with minus infinity, as shadow rays take it.
Vec3 shadow_inverse_direction(const Vec3& d) {
    return {-(1.0f / (0.0f - d.x)), -(1.0f / (0.0f - d.y)), -(1.0f / (0.0f - d.z))};
}

// Whether there is anything to hit in the root object.
bool has_root_stream() {
    const Tree* const root = Trees.data() + RootObjectIndex;
    return root < Trees.data() + Trees.size() && !root->walk.empty();
}

// Finite, with a limit above 0: a product with 0 is 0 for finite numbers only.
bool can_hit(const Ray& ray) {
    return 0.0f * (sum(ray.origin) + sum(ray.direction)) == 0.0f && ray.distance > 0.0f
           && has_root_stream();
}

const WalkUnit* root_stream() {
    return Trees[RootObjectIndex].walk.data();
}

void fill_query(const Ray& ray, WalkQuery& query) {
    query.origin = &ray.origin;
    query.direction = &ray.direction;
    query.inverse = &ray.inverse_direction;
    query.distance = ray.distance;
    query.source = identity(ray.source_kind, ray.source_primitive);
    query.visible = visible_to(ray);
    query.true_distances = is_exact();
}

// That of the instance, from what the walk has read already.
Mat3 normal_matrix(const WalkPrimitive& p) {
    if (p.kind == kWalkProjection) return p.projection.instance->normal_matrix;
    Mat3 matrix;
    for (int row = 0; row < 3; ++row)
        for (int column = 0; column < 3; ++column)
            matrix.m[row][column] = p.instance.inverse[column][row];
    return matrix;
}

// Follows the instances around the hit, keeping their normal matrices for the surface point.
const Object& hit_object(const WalkQuery& query, std::uint8_t thread) {
    const auto levels = to_size(query.hit_level);
    for (std::size_t level = 0; level < levels; ++level)
        ThreadStates[thread].instance_normal_matrices[level] =
            normal_matrix(*query.hit_path[level]);
    return Objects[levels == 0 ? RootObjectIndex : query.hit_path[levels - 1]->index];
}

void write_hit(const WalkQuery& query, Ray& ray) {
    const Object& object = hit_object(query, ray.thread);
    const Part& part = object.parts[query.hit_part];
    ray.distance = query.distance;
    ray.hit_a = query.hit_a;
    ray.hit_b = query.hit_b;
    ray.hit_c = query.hit_c;
    ray.hit_part = &part;
    ray.hit_primitive = static_cast<std::int32_t>(query.hit & 0xFFFFFFFFu);
    ray.hit_kind = static_cast<HitKind>(query.hit >> 32);
    ray.hit_shader =
        static_cast<std::int32_t>(is_face(ray.hit_kind) ? query.hit_shader : part.shader_id);
    ray.front_side = query.front;
    ray.hit_instance_level = static_cast<std::uint8_t>(query.hit_level);
    ray.hit_in_root = object.object_level == 0;
}

// Counts the ray and walks; limit, direction and inverse direction are set.
[[gnu::always_inline]] inline bool find_nearest(Ray& ray,
                                                bool (*walk)(const WalkUnit*, WalkQuery&)) {
    ray.instance_level = 0;
    ++ThreadStates[ray.thread].rays;
    if (!can_hit(ray)) return false;
    WalkQuery query;
    fill_query(ray, query);
    if (!walk(root_stream(), query)) return false;
    write_hit(query, ray);
    return true;
}

bool occluded(Ray& ray, bool (*walk)(const WalkUnit*, WalkQuery&), WalkQuery& query) {
    ray.instance_level = 0;
    ray.weight = splat(1.0f);
    ThreadState& state = ThreadStates[ray.thread];
    ++state.shadow_rays;
    ray.inverse_direction = shadow_inverse_direction(ray.direction);
    if (!can_hit(ray)) return false;
    fill_query(ray, query);
    query.nodes = query.leaves = query.primitives = 0;
    query.target = identity(ray.hit_kind, ray.hit_primitive);
    const bool hit = walk(root_stream(), query);
    if (hit) ray.weight = {};
    state.shadow_nodes += query.nodes;
    state.shadow_leaves += query.leaves;
    state.shadow_primitives += query.primitives;
    return hit;
}

// Adds one to the slot of every leaf that led to the occluder, from the root down.
void log_occlusion(const WalkQuery& query) {
    Tree* tree = &Trees[RootObjectIndex];
    for (const WalkLogEntry& entry : query.log) {
        if (tree->occlusion_log.empty()) return; // released after the first frame
        std::atomic_ref(tree->occlusion_log[entry.wide_node][entry.slot])
            .fetch_add(1, std::memory_order_relaxed);
        if (entry.object == kNoObject) return;
        tree = &Trees[entry.object];
    }
}

} // namespace

// By the signs of the volumes that the ray spans with the edges: that of an edge is the same for
// both of its faces but for the sign. In double, which holds products of two floats.
bool RunsInside(const Object& object, WalkFace face, const Vec3& o, const Vec3& d) {
    const Part& part = object.parts[face.part];
    const auto& vertices = part.triangles[face.triangle].vertex;
    const auto seen_corner = [&](std::size_t k) -> std::array<double, 3> {
        const Vec3& p = part.positions[vertices[k]];
        return {1.0 * p.x - o.x, 1.0 * p.y - o.y, 1.0 * p.z - o.z};
    };
    const auto volume = [&](const auto& a, const auto& b) {
        return (a[1] * b[2] - a[2] * b[1]) * d.x + (a[2] * b[0] - a[0] * b[2]) * d.y
               + (a[0] * b[1] - a[1] * b[0]) * d.z;
    };
    const auto a = seen_corner(0), b = seen_corner(1), c = seen_corner(2);
    const double ab = volume(a, b), bc = volume(b, c), ca = volume(c, a);
    return (ab >= 0.0 && bc >= 0.0 && ca >= 0.0) || (ab <= 0.0 && bc <= 0.0 && ca <= 0.0);
}

void SelectWalks() {
    const bool vector = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi")
                        && __builtin_cpu_supports("bmi2");
    WidestWalks = vector ? &kAvx2Walks : &kScalarWalks;
    CurrentWalks = WidestWalks;
}

const char* WalkName() {
    return CurrentWalks->name;
}

void UseVectorWalks(bool vector) {
    CurrentWalks = vector ? WidestWalks : &kScalarWalks;
}

bool closest_hit(Ray& ray) {
    ray.inverse_direction = inverse_direction(ray.direction);
    ray.distance = kFar;
    ray.direction = normalize(ray.direction);
    return find_nearest(ray, CurrentWalks->closest);
}

bool probe_hit(Ray& ray) {
    ray.inverse_direction = inverse_direction(ray.direction);
    return find_nearest(ray, CurrentWalks->probe);
}

void shadow_query(Ray& ray) {
    WalkQuery query;
    occluded(ray, CurrentWalks->occlude, query);
}

void OccludeLog(Ray& ray) {
    WalkQuery query;
    const bool logging = OcclusionLogging != 0;
    if (occluded(ray, logging ? CurrentWalks->occlude_log : CurrentWalks->occlude, query)
        && logging)
        log_occlusion(query);
}

} // namespace mh
