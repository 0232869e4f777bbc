// Surface points of all primitive kinds, from records filled by hand.
// SPDX-License-Identifier: MIT
#include "hit/surface_builder.h"

#include "geometry/types.h"
#include "math/at.h"
#include "math/random.h"
#include "math/roots.h"
#include "math/sampling.h"
#include "shading/shaders.h"
#include "shading/state.h"
#include "support/expect.h"
#include "support/fresh_scene.h"
#include "support/replay.h"

#include <gtest/gtest.h>

namespace mh::test {
namespace {

void expect_orthonormal(const Vec3& a, const Vec3& b, const Vec3& c, float tolerance) {
    expect_near({dot(a, b), dot(b, c), dot(c, a)}, {}, tolerance);
    expect_near({dot(a, a), dot(b, b), dot(c, c)}, {1.0f, 1.0f, 1.0f}, tolerance);
}

// One shader with one layer, and one part with a triangle and a quad in the plane z = 0, facing up.
struct SurfacePointTest : testing::Test {
    SurfacePointTest() {
        AddSurfaceLayer(at(Shaders, AddShader()));
        part.positions = {{0, 0, 0}, {2, 0, 0}, {2, 1, 0}, {0, 1, 0}};
        part.triangles = {{{0, 1, 2}, 1}};
        part.tetragons = {{{0, 1, 2, 3}, 1}};
        part.cylinders = {0};
        part.vec2_arrays = {{"uv", {{0, 0}, {0, 4}, {1, 4}, {1, 0}}}}; // u along y, v along x
        part.scalar_arrays = {{"radius", {1.0f, 2.0f, 3.0f, 4.0f}}};
    }

    Shader& shader() { return Shaders[1]; }

    Vec3& color(Element element) { return slot(shader(), element).color; }

    // A slot with a one-texel image.
    void set_texture(Element element, const Vec3& texel, const Vec3& slot_color) {
        slot(shader(), element).image = "texture";
        slot(shader(), element).color = slot_color;
        add_texel_image("texture", texel);
    }

    // A hit from above, or from below the front with `front` false.
    Ray hit(HitKind kind = HitKind::triangle, const Vec3& towards = {0, 0, -1},
            bool front = true) const {
        Ray ray;
        ray.hit_kind = kind;
        ray.hit_part = &part;
        ray.hit_shader = 1;
        ray.hit_primitive = 0;
        ray.front_side = front;
        ray.direction = normalize(towards);
        ray.origin = -2.0f * ray.direction;
        ray.distance = 2.0f;
        ray.hit_a = ray.hit_b = ray.hit_c = 1.0f / 3.0f;
        return ray;
    }

    SurfacePoint build(const Ray& ray, bool use_density = false) {
        shader().initialised = false;
        FinishShader(shader());
        SurfacePoint point;
        point.use_density = use_density;
        build_surface_point(ray, point);
        evaluate_layers(ray, point);
        return point;
    }

    FreshScene scene;
    Part part;
};

TEST_F(SurfacePointTest, HasTheReflectanceOfSchlick) {
    const Vec3 cases[] = {{1.5f, 1.0f, 0.04f},     {1.5f, 0.5f, 0.07f}, {1.5f, 0.0f, 1.0f},
                          {2.0f, 0.6f, 0.120213f}, {1.0f, 0.3f, 0.0f},  {0.0f, 0.7f, 1.0f}};
    for (const auto& [ior, cosine, reflectance] : cases) {
        color(Element::ior) = splat(ior);
        const Vec3 d = {-safe_root(1.0f - cosine * cosine), 0.0f, -cosine};
        const SurfacePoint front = build(hit(HitKind::triangle, d));
        EXPECT_NEAR(front.reflectance, reflectance, 1e-4f) << ior << " " << cosine;
        EXPECT_FLOAT_EQ(front.transmittance + front.reflectance, 1.0f);
        EXPECT_EQ(front.eta, 1.0f / ior);
        EXPECT_FLOAT_EQ(build(hit(HitKind::triangle, -d, false)).eta, ior);
    }
    color(Element::ior) = splat(1.5f);
    shader().layers[0].material = Material::thin;
    const SurfacePoint sheet = build(hit()); // 0.04 + 0.96^2 0.04 / (1 - 0.04^2)
    EXPECT_NEAR(sheet.reflectance, 0.0769231f, 1e-6f);
    EXPECT_EQ(sheet.eta, 1.0f);
}

TEST_F(SurfacePointTest, BuildsRightHandedFramesThatFaceTheViewer) {
    const SeededDraws seed(2);
    for (int i = 0; i < 1000; ++i) {
        const float u = random_unit();
        const float v = i == 0 ? 1.0f : random_unit(); // the first has its normal at the pole
        const Vec3 n = sample_sphere({u, v});
        const Vec3 side =
            normalize(cross(n, std::fabs(n.x) < 0.5f ? Vec3{1, 0, 0} : Vec3{0, 1, 0}));
        part.positions[1] = side;
        part.positions[2] = cross(n, side);
        const bool front = i % 2 == 0;
        const SurfacePoint point = build(hit(HitKind::triangle, front ? -n : n, front));
        expect_near(point.normal, front ? n : -n, 1e-4f);
        expect_near(point.geometric_normal, point.normal, 1e-4f);
        expect_near(cross(point.tangent, point.bitangent), point.normal, 2e-3f); // near the pole
        EXPECT_NEAR(point.cos_outgoing, 1.0f, 1e-4f);
    }
}

TEST_F(SurfacePointTest, InterpolatesNormalsAndGivesWayToTheFaceWhereTheyAreMissing) {
    const PackedUnit tilted = pack_unit({0.6f, 0.0f, 0.8f}), up = pack_unit({0, 0, 1});
    const std::pair<std::vector<PackedUnit>, float> cases[] = {
        {{tilted, up, up, up}, 0.6f}, {{tilted, up, {}, up}, 0.0f}, {{tilted, up}, 0.0f}};
    for (const auto& [normals, x] : cases) {
        part.normals = normals;
        for (const bool front : {true, false}) {
            Ray ray = hit(HitKind::triangle, {0, 0, front ? -1.0f : 1.0f}, front); // at corner 0
            ray.hit_a = 1.0f;
            ray.hit_b = ray.hit_c = 0.0f;
            EXPECT_NEAR(build(ray).normal.x, front ? x : -x, 0.01f); // 8 bits
            expect_near(build(ray).geometric_normal, {0, 0, front ? 1.0f : -1.0f});
        }
    }
}

TEST_F(SurfacePointTest, FallsBackToTheFaceWhereAReflectionWouldEnterIt) {
    color(Element::ior) = splat(1.5f);
    part.normals.assign(4, pack_unit({0.8f, 0.0f, 0.6f}));
    EXPECT_NEAR(build(hit(HitKind::triangle, {-1, 0, -1})).normal.x, 0.8f, 0.01f);
    const Vec3 normals[] = {{0.8f, 0.0f, 0.6f}, {0.0f, 0.0f, -1.0f}}; // of a mesh turned inside out
    for (const Vec3& normal : normals) {
        part.normals.assign(4, pack_unit(normal));
        const SurfacePoint point = build(hit());
        expect_near(point.normal, {0, 0, 1});
        EXPECT_NEAR(point.reflectance, 0.04f, kTolerance); // of a cosine of 1
    }
}

TEST_F(SurfacePointTest, BendsNormalsOfFacetsNoFurtherThanTheirReflectionNeeds) {
    const SeededDraws seed(6);
    shader().layers[0].microfacet = Microfacet::ggx;
    const Vec3 g = {0, 0, 1};
    int bent = 0;
    for (int i = 0; i < 1000; ++i) {
        const Vec2 view = {random_unit(), random_unit()}, slope = {random_unit(), random_unit()};
        Vec3 o = sample_sphere(view);
        o.z = std::fabs(o.z);
        part.normals.assign(4, pack_unit(sample_sphere(slope)));
        const Vec3 given = unpack_unit(part.normals[0]);
        const SurfacePoint point = build(hit(HitKind::triangle, -o));
        const auto height = [&o](const Vec3& n) { return 2.0f * dot(o, n) * n.z - o.z; };
        const float least = std::min(0.01f, 0.5f * o.z);
        expect_orthonormal(point.tangent, point.bitangent, point.normal, 1e-4f);
        EXPECT_GT(point.cos_outgoing, 0.0f);
        if (dot(o, given) > 0.0f && height(given) >= least) {
            expect_near(point.normal, given, 1e-4f);
            continue;
        }
        ++bent;
        EXPECT_NEAR(height(point.normal), least, 1e-3f); // at the edge of what is allowed, and
        const Vec3 before = cross(g, point.normal), after = cross(point.normal, given);
        EXPECT_GE(dot(before, after), -1e-4f); // between both normals
        EXPECT_NEAR(dot(point.normal, cross(g, given)), 0.0f, 1e-4f);
    }
    EXPECT_GT(bent, 300);
}

TEST_F(SurfacePointTest, SplitsRoughnessByAnisotropy) {
    color(Element::roughness) = splat(0.1f);
    color(Element::anisotropy) = splat(0.3f);
    EXPECT_FLOAT_EQ(build(hit()).roughness_u, 1e-6f); // no glossy colour
    color(Element::glossy) = splat(1.0f);
    EXPECT_FLOAT_EQ(build(hit()).roughness_u, 0.100001f * 0.7f);
    EXPECT_FLOAT_EQ(build(hit()).roughness_v, 0.100001f / 0.7f);
}

TEST_F(SurfacePointTest, AlignsTangentsWithTheTextureAndTurnsThem) {
    color(Element::glossy) = color(Element::roughness) = color(Element::anisotropy) = splat(0.5f);
    for (const HitKind kind : {HitKind::triangle, HitKind::tetragon}) {
        expect_near(build(hit(kind)).tangent, {0, 1, 0}); // dP/du
        // From behind the normal is turned, the tangent still runs along dP/du.
        expect_near(build(hit(kind, {0, 0, 1}, false)).tangent, {0, 1, 0});
    }
    part.tangents.assign(4, pack_unit({0.6f, 0.0f, 0.8f})); // only what lies across the normal
    expect_near(build(hit()).tangent, {1, 0, 0});
    part.tangents.clear();
    part.vec2_arrays[0].values.assign(4, {0.5f, 0.5f}); // no direction: the frame of the normal
    expect_near(build(hit()).tangent, {1, 0, 0});
    color(Element::angle) = splat(0.25f);
    expect_near(build(hit()).tangent, {0, -1, 0}); // t cos - b sin
}

TEST_F(SurfacePointTest, BendsTheNormalByItsMap) {
    set_texture(Element::normal, {0.8f, 0.5f, 0.9f}, splat(2.0f)); // (0.6, 0, 0.8) of the frame
    const SurfacePoint point = build(hit(HitKind::triangle, {0, -0.1f, -1}));
    expect_near(point.normal, {0, 0.6f, 0.8f}); // the frame's tangent is dP/du = y
    expect_orthonormal(point.tangent, point.bitangent, point.normal, kTolerance);
    expect_near(point.bitangent, {-1, 0, 0});
    set_texture(Element::normal, splat(0.5f), splat(2.0f)); // no direction at all
    expect_near(build(hit()).normal, {0, 0, 1});
}

TEST_F(SurfacePointTest, InterpolatesUvForAnyLayerWithAnImage) {
    EXPECT_TRUE(build(hit()).uv == Vec2{}); // no image, no uv
    set_texture(Element::lambertian, {0.5f, 0.25f, 4.0f}, {1.0f, 1.0f, 0.0005f});
    const SurfacePoint point = build(hit());
    EXPECT_NEAR(point.uv.x, 1.0f / 3.0f, kTolerance);
    EXPECT_NEAR(point.uv.y, 8.0f / 3.0f, kTolerance);
    expect_near(point.lambertian_color, {0.5f, 0.25f, 0.002f});
    Ray quad = hit(HitKind::tetragon);
    quad.hit_a = 0.25f; // from edge 0-1 to edge 2-3: along y
    quad.hit_b = 0.75f; // from edge 3-0 to edge 1-2: along x
    EXPECT_NEAR(build(quad).uv.x, 0.25f, kTolerance);
    EXPECT_NEAR(build(quad).uv.y, 3.0f, kTolerance);
}

TEST_F(SurfacePointTest, TakesTheFastPathWhereTheDensityIsRead) {
    part.normals.assign(4, pack_unit({0.6f, 0.0f, 0.8f}));
    color(Element::lambertian) = splat(1.0f);
    color(Element::ior) = splat(1.5f);
    const SurfacePoint point = build(hit(), true);
    EXPECT_EQ(point.transmittance, 1.0f);
    EXPECT_NEAR(point.cos_outgoing, 1.0f, kTolerance);
    EXPECT_FALSE(point.lambertian_active);
    color(Element::specular) = splat(1.0f); // reflects: the vertex normals count
    const SurfacePoint mirror = build(hit(), true);
    EXPECT_NEAR(mirror.normal.x, 0.6f, 0.01f);
    EXPECT_TRUE(mirror.specular_active && !mirror.lambertian_active);
}

TEST_F(SurfacePointTest, PlacesHairOnASectionTowardsTheViewer) {
    const SeededDraws seed(9);
    color(Element::lambertian) = color(Element::specular) = color(Element::transmissive) =
        splat(1.0f);
    color(Element::ior) = splat(1.5f);
    Ray ray = hit(HitKind::hair, {0, 0.5f, -1});
    ray.hit_c = 0.25f;
    part.tangents.assign(4, {}); // none stored: the chord is the axis
    double sum_h = 0.0;
    for (int i = 0; i < 1000; ++i) {
        const SurfacePoint point = build(ray);
        ASSERT_GE(point.cos_outgoing, -kTolerance);
        expect_orthonormal(point.tangent, point.bitangent, point.normal, 1e-4f);
        expect_near(point.tangent, {1, 0, 0});
        sum_h += double{dot(point.normal, normalize(cross(point.tangent, ray.direction)))};
    }
    EXPECT_NEAR(sum_h / 1000.0, 0.0, 0.08); // uniform in -1..1: four deviations of the mean
    ray.direction = {1, 0, 0};              // along the hair
    const SurfacePoint point = build(ray);
    EXPECT_NEAR(dot(point.normal, point.tangent), 0.0f, kTolerance);
    EXPECT_EQ(point.hair_width, 1.25f);
    EXPECT_TRUE(point.lambertian_active);
    EXPECT_FALSE(point.specular_active || point.transmissive_active || point.diffusion_active);
}

TEST_F(SurfacePointTest, StaysFiniteForAbsurdSlots) {
    for (const float value : {kNan, 3e38f, -3e38f, -1.0f, 0.0f}) {
        for (const Element e :
             {Element::roughness, Element::anisotropy, Element::ior, Element::weight})
            color(e) = splat(value);
        color(Element::glossy) = splat(1.0f);
        for (const HitKind kind : {HitKind::triangle, HitKind::tetragon}) {
            const SurfacePoint point = build(hit(kind, {0.3f, 0, -1}));
            EXPECT_TRUE(is_finite(point.normal) && is_finite(point.tangent)) << value;
            EXPECT_GE(point.reflectance, 0.0f) << value;
            EXPECT_LE(point.reflectance, 1.0f + kTolerance) << value;
        }
    }
}

} // namespace
} // namespace mh::test
