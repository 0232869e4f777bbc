// The three walks, by both kernels, against plain loops over all primitives.
// SPDX-License-Identifier: MIT
#include "accel/walk.h"

#include "accel/prepare.h"
#include "accel/scene_assembly.h"
#include "accel/state.h"
#include "accel/tree.h"
#include "geometry/state.h"
#include "hit/surface_builder.h"
#include "math/faces.h"
#include "math/roots.h"
#include "random_object.h"
#include "ray_oracle.h"
#include "run/state.h"
#include "shading/state.h"
#include "support/expect.h"
#include "support/fresh_scene.h"

#include <gtest/gtest.h>

namespace mh::test {

namespace {

// Distances in an instance are those of its own units: scales up to 1 keep the order of hits.
Instance& add_instance(Object& owner, std::uint32_t target, float angle, const Vec3& move,
                       const Vec3& scale = splat(1.0f)) {
    Instance& instance = owner.instances.emplace_back();
    instance.object = target;
    const float c = std::cos(angle), s = std::sin(angle);
    const float rows[3][4] = {{scale.x * c, scale.y * -s, 0, move.x},
                              {scale.x * s, scale.y * c, 0, move.y},
                              {0, 0, scale.z, move.z}};
    for (int r = 0; r < 3; ++r)
        std::copy_n(rows[r], 4, instance.matrix.m[r]);
    return instance;
}

// Makes tetragons parallelograms, as those that are not flat become triangles, and adds copies of
// the first that begin at its other corners and run backwards: of one box, they share leaves.
void add_parallelograms(Part& part) {
    for (const Tetragon& face : part.tetragons) {
        const auto& [a, b, c, d] = face.vertex;
        part.positions[c] = part.positions[b] + part.positions[d] - part.positions[a];
    }
    std::array<std::uint32_t, 4> corners = part.tetragons[0].vertex;
    for (std::uint32_t i = 0; i < 24; ++i) {
        std::rotate(corners.begin(), corners.begin() + 1, corners.end());
        if (i % 4 == 3) std::reverse(corners.begin(), corners.end());
        part.tetragons.push_back({corners, i % 4});
    }
}

// Objects 0 within 1 within 2, the root; all kinds of primitive and of visibility in each, but
// triangles alone in the first.
void make_scene() {
    for (const Visibility visibility :
         {Visibility::hidden, Visibility::camera_only, Visibility::light_only}) {
        Shaders.emplace_back().visibility = visibility;
        Shaders.back().name = "own"; // a face of an undefined shader takes that of its part
    }
    for (unsigned i = 0; i < 3; ++i) {
        Object& object = Objects.emplace_back(random_object(i + 1, 60, 0.3f));
        for (std::uint32_t f = 0; f < object.parts[2].triangles.size(); f += 3)
            object.parts[2].triangles[f].shader = f % 4;
        add_parallelograms(object.parts[2]);
        object.parts[(i + 1) % 2].shader_id = 3 - i;
        if (i == 0) {
            object.parts[0].particles.clear();
            object.parts[1].cylinders.clear();
            object.parts[2].tetragons.clear();
        }
        if (i > 0) {
            const float s = i == 1 ? 0.8f : 0.9f;
            add_instance(object, i - 1, 0.7f, {1.0f, 0.0f, 0.5f}, splat(s));
            add_instance(object, i - 1, -2.0f, {-1.0f, 0.3f, -0.5f}, {-s, 1.0f, s});
        }
    }
    AssembleScene();
}

// Rays of every role from around the scene, some along the axes.
Ray random_ray(RandomPoints& random, int number) {
    Ray ray;
    ray.origin = 3.0f * random.point();
    Vec3 direction = random.point() - ray.origin;
    if (number % 7 == 0) direction = {0.0f, number % 2 == 0 ? -1.0f : 1.0f, 0.0f};
    ray.direction = (1.0f / std::sqrt(dot(direction, direction))) * direction;
    ray.depth = static_cast<std::uint8_t>(number % 2);
    ray.photon = number % 4 >= 2;
    const auto pick = [&](HitKind& kind, std::int32_t& index) {
        constexpr HitKind kKinds[] = {HitKind::hair, HitKind::triangle, HitKind::tetragon};
        kind = kKinds[random.engine() % 3];
        index = static_cast<std::int32_t>(random.engine() % 60);
    };
    pick(ray.source_kind, ray.source_primitive);
    pick(ray.hit_kind, ray.hit_primitive);
    return ray;
}

void expect_nearest(const std::vector<Meeting>& met, double limit, const Ray& ray, bool hit) {
    if (hit) {
        const bool known = std::any_of(met.begin(), met.end(), [&](const Meeting& m) {
            return static_cast<int>(m.kind) == static_cast<int>(ray.hit_kind)
                   && m.index == static_cast<std::uint32_t>(ray.hit_primitive)
                   && m.level == ray.hit_instance_level && m.part == ray.hit_part
                   && m.shader == static_cast<std::uint32_t>(ray.hit_shader)
                   && m.front == ray.front_side
                   && length(m.parameters - Vec3{ray.hit_a, ray.hit_b, ray.hit_c}) < 1e-3f
                   && std::fabs(m.distance - double{ray.distance}) <= m.doubt;
        });
        EXPECT_TRUE(known) << "at " << ray.distance;
        EXPECT_EQ(ray.hit_in_root, ray.hit_instance_level == 0);
    }
    for (const Meeting& m : met) {
        if (!m.certain || !(m.distance < limit - m.doubt)) continue;
        EXPECT_LE(hit ? double{ray.distance} : limit, m.distance + m.doubt) << m.index;
    }
}

struct Walk : testing::Test {
    ~Walk() override { UseVectorWalks(true); }

    FreshScene scene;
};

struct Walks : Walk {
    Walks() { make_scene(); }

    RandomPoints random{4711};
};

Ray ray_along_z(float start, float direction) {
    Ray ray;
    ray.origin.z = start;
    ray.direction = {0.0f, 0.0f, direction};
    return ray;
}

bool same_hit(const Ray& a, const Ray& b) {
    return a.distance == b.distance && a.hit_a == b.hit_a && a.hit_b == b.hit_b
           && a.hit_c == b.hit_c && a.hit_part == b.hit_part && a.hit_primitive == b.hit_primitive
           && a.hit_kind == b.hit_kind && a.front_side == b.front_side
           && a.hit_shader == b.hit_shader && a.hit_instance_level == b.hit_instance_level;
}

constexpr int kRays = 500;

} // namespace

TEST_F(Walks, HitsAgreeWithBruteForceAndAcrossKernels) {
    const auto count_hits = [this](Query query, bool (*walk)(Ray&), float limit) {
        int hits = 0;
        for (int i = 0; i < kRays; ++i) {
            SCOPED_TRACE(i);
            Ray ray = random_ray(random, i);
            ray.distance = limit;
            const std::vector<Meeting> met = all_meetings(query, ray);
            Ray portable = ray;
            UseVectorWalks(true);
            const bool hit = walk(ray);
            UseVectorWalks(false);
            EXPECT_EQ(walk(portable), hit);
            EXPECT_TRUE(same_hit(ray, portable));
            expect_nearest(met, double{limit}, ray, hit);
            hits += hit;
        }
        return hits;
    };
    const int hits = count_hits(Query::closest, closest_hit, kFar);
    EXPECT_GT(hits, kRays / 4);
    EXPECT_LT(hits, kRays);
    EXPECT_GT(count_hits(Query::probe, probe_hit, 2.5f), kRays / 8); // sees faces alone
}

TEST_F(Walks, ShadowsAreThoseOfAnyPrimitiveInBetween) {
    int dark = 0, clear = 0;
    for (int i = 0; i < kRays; ++i) {
        SCOPED_TRACE(i);
        Ray ray = random_ray(random, i);
        ray.distance = 2.0f;
        const std::vector<Meeting> met = all_meetings(Query::shadow, ray);
        const auto stops = [&](bool certain) {
            return std::any_of(met.begin(), met.end(), [&](const Meeting& m) {
                return certain ? m.certain && m.distance < 2.0 - m.doubt
                               : m.distance < 2.0 + m.doubt;
            });
        };
        for (const bool vector : {true, false}) {
            UseVectorWalks(vector);
            shadow_query(ray);
            EXPECT_TRUE(!stops(true) || ray.weight == Vec3{});
            EXPECT_TRUE(stops(false) || ray.weight == splat(1.0f));
        }
        dark += stops(true);
        clear += !stops(false);
    }
    EXPECT_GT(dark, kRays / 8);
    EXPECT_GT(clear, kRays / 8);
}

// Measured shadows change the order of visits, so that the same rays cost less, and nothing else.
TEST_F(Walks, ReorderedTreesGiveTheSameShadowsForLess) {
    std::vector<Ray> rays;
    for (int i = 0; i < kRays; ++i)
        rays.push_back(random_ray(random, i));
    std::uint64_t cost[3];
    std::vector<float> passed[3];
    for (const int pass : {0, 1, 2}) {
        ThreadStates[0].shadow_primitives = 0;
        for (Ray ray : rays) {
            ray.distance = 2.0f;
            pass == 1 ? OccludeLog(ray) : shadow_query(ray);
            passed[pass].push_back(ray.weight.x);
        }
        cost[pass] = ThreadStates[0].shadow_primitives;
        if (pass != 1) continue;
        for (std::size_t i = 0; i < Objects.size(); ++i) {
            ASSERT_GT(ReorderTree(Trees[i]), 0.0f);
            PrepareWalk(Objects[i], Trees[i]);
        }
    }
    EXPECT_EQ(passed[0], passed[1]);
    EXPECT_EQ(passed[0], passed[2]);
    EXPECT_LT(cost[2], cost[0]);
}

TEST_F(Walks, RaysThatAreNotNumbersHitNothing) {
    for (const float bad : {kNan, kInfinity}) {
        for (float Vec3::*const component : {&Vec3::x, &Vec3::y, &Vec3::z}) {
            Ray from_nowhere = random_ray(random, 1), to_nowhere = random_ray(random, 1);
            from_nowhere.origin.*component = bad;
            to_nowhere.direction.*component = bad;
            for (Ray ray : {from_nowhere, to_nowhere}) {
                EXPECT_FALSE(closest_hit(ray));
                shadow_query(ray);
                EXPECT_TRUE(ray.weight == splat(1.0f));
            }
        }
    }
}

// A chain of objects, each an instance of the next; the last holds a triangle.
TEST_F(Walk, EntersSixteenLevelsOfInstances) {
    Objects.push_back(triangle_row(1, {}));
    for (std::uint32_t level = 1; level <= 17; ++level) {
        add_instance(Objects.emplace_back(), level - 1, 0.0f, {});
        if (level < 16) continue;
        AssembleScene();
        for (const bool vector : {true, false}) {
            UseVectorWalks(vector);
            Ray ray = ray_along_z(1.0f, -1.0f), shadow = ray;
            ray.origin.x = ray.origin.y = shadow.origin.x = shadow.origin.y = 0.25f;
            EXPECT_EQ(closest_hit(ray), level == 16);
            EXPECT_EQ(int{ray.hit_instance_level}, level == 16 ? 16 : 0);
            shadow_query(shadow);
            EXPECT_EQ(shadow.weight, splat(level == 16 ? 0.0f : 1.0f));
        }
    }
}

TEST_F(Walk, NormalsInNestedInstancesAreThoseOfTheMovedFace) {
    Objects.push_back(triangle_row(1, {}));
    std::vector<Vec3> p = {{0, 0, 0}, {1, 0, 0.5f}, {0, 1, -0.3f}};
    Objects[0].parts[0].positions = p;
    for (const std::uint32_t inner : {0u, 1u}) {
        Object& owner = Objects.emplace_back();
        add_instance(owner, inner, 0.0f, splat(9.0f));
        const Vec3 scale = {static_cast<float>(inner) - 0.6f, 0.5f, 0.7f}; // mirrored once
        const Mat4 matrix = add_instance(owner, inner, 0.7f, {1, 2, 3}, scale).matrix;
        for (Vec3& corner : p)
            corner = transform_point(matrix, corner);
    }
    AssembleScene();
    Ray ray;
    ray.thread = 3;
    ray.direction = triangle_normal(p[0], p[1], p[2]);
    ray.origin = (p[0] + p[1] + p[2]) / 3.0f - ray.direction;
    ASSERT_TRUE(closest_hit(ray));
    SurfacePoint point;
    build_surface_point(ray, point);
    expect_near(point.geometric_normal, -ray.direction);
    expect_near(point.normal, -ray.direction);
    expect_near(cross(point.tangent, point.bitangent), point.normal);
}

// The shadow walk looks b - h and b + h ahead, with h the square of half the chord: 1 and 9.
TEST_F(Walk, ParticlesStopShadowsAtTheUnrootedChordAndShowTheirFarWallFromInside) {
    Part& part = Objects.emplace_back().parts.emplace_back(empty_part());
    part.positions = {{0, 0, 5}};
    radii(part) = {2.0f};
    part.particles = {0};
    AssembleScene();
    for (const float limit : {3.5f, 0.9f}) {
        Ray shadow = ray_along_z(0.0f, 1.0f);
        shadow.distance = limit;
        shadow_query(shadow);
        EXPECT_EQ(shadow.weight.x, limit > 1.0f ? 0.0f : 1.0f);
        shadow.source_kind = HitKind::particle; // on the far side of its own
        shadow.source_primitive = 0;
        shadow_query(shadow);
        EXPECT_EQ(shadow.weight.x, 1.0f);
    }
    for (const float start : {0.0f, 4.0f, 5.0f}) {
        Ray ray = ray_along_z(start, 1.0f);
        ray.source_kind = start > 0.0f ? HitKind::particle : HitKind::unset; // its own ray
        ray.source_primitive = 0;
        EXPECT_EQ(closest_hit(ray), start < 5.0f); // b = 0 does not count as inwards
        if (start == 5.0f) continue;
        EXPECT_EQ(ray.distance, 3.0f);
        EXPECT_EQ(ray.front_side, start == 0.0f);
    }
}

} // namespace mh::test
