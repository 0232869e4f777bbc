// The exact estimator against closed forms, and against itself by other ways to the same light.
//
// Pictures are means over 16 seeds. A bias of 0.2 % is allowed; one of 0.72 %, and of 0.52 % more
// for each further effort, is noticed.
// SPDX-License-Identifier: MIT
#include "frame/phases.h"
#include "geometry/objects.h"
#include "geometry/state.h"
#include "integrate/pixel_loop.h"
#include "lights/gaffer.h"
#include "lights/state.h"
#include "math/at.h"
#include "math/packed_unit.h"
#include "math/random.h"
#include "output/aov.h"
#include "output/camera.h"
#include "output/state.h"
#include "run/state.h"
#include "shading/images.h"
#include "shading/shaders.h"
#include "shading/state.h"
#include "support/expect.h"
#include "support/scene.h"
#include "support/statistics.h"

#include <cmath>
#include <functional>
#include <numeric>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace mh {
namespace {

using namespace test;

constexpr double kWanted = 0.002;   // largest bias, relative
constexpr double kNoticed = 0.0052; // beyond it, for each effort
constexpr int kSeeds = 16, kSize = 4;

struct ExactScene : Scene {
    ExactScene() {
        RendererSettings.estimator = Estimator::exact;
        RendererSettings.bounce = 4;
    }
};

double picture_of(int seed) {
    RendererSettings.seed = seed;
    DrawFromSeed(static_cast<std::uint64_t>(seed));
    double sum_of_pixels = 0.0;
    std::vector<Vec3> pixels;
    for (int frame = 0; frame < Cameras[0].sample; ++frame) {
        RenderPixelsTo(pixels, static_cast<std::uint32_t>(frame));
        for (const Vec3& pixel : pixels)
            sum_of_pixels += static_cast<double>(pixel.x);
    }
    return sum_of_pixels / (kSize * kSize * Cameras[0].sample);
}

// All that comes before the frames. Bounces and samples of lights are over all of them.
void prepare(int bounces, int light_samples) {
    constexpr int kFrames = 4;
    place_camera(kSize, {0.0f, 0.0f, 1.0f}, {}, {0.3f, 0.8f, 0.5f}, 1e-3f);
    Cameras[0].sample = kFrames;
    RendererSettings.sample = bounces;
    GeometryLight.sample = light_samples;
    for (PointLight& light : PointLights)
        light.sample = light_samples;
    Initialize();
}

// Radiance from one point to another.
Estimate look(const Vec3& from, const Vec3& at) {
    place_camera(kSize, from, at, {0.3f, 0.8f, 0.5f}, 1e-3f);
    InitializeCameras();
    return mean_of_runs(kSeeds, picture_of);
}

void expect_same(const Estimate& a, const Estimate& b, const std::string& name,
                 double effort = 1.0) {
    const double error = std::hypot(a.error, b.error);
    expect_unbiased(name, {a.mean, error, kSeeds}, b.mean, {kWanted + kNoticed * effort, kWanted});
}

// Just above the floor, below what may lie over it.
constexpr Vec3 kClose = {0.003f, -0.002f, 0.005f};

void add_white_floor() {
    add_floor(0.01f, 0.0f, add_shader(splat(1.0f)));
}

// What is added from here on has a part of its own.
void begin_part() {
    Part part = empty_part();
    std::swap(part, Objects[0].parts[0]);
    Objects[0].parts.push_back(std::move(part));
}

// A level rectangle that faces down.
std::array<Vec3, 4> ceiling(float x0, float y0, float x1, float y1, float z) {
    return {Vec3{x0, y0, z}, Vec3{x0, y1, z}, Vec3{x1, y1, z}, Vec3{x1, y0, z}};
}

// What a white floor at the origin shows of a lamp of radiance 1.
double light_of(const std::vector<Vec3>& corners) {
    return static_cast<double>(polygon_light(corners, {}).z / kPi);
}

double add_quad_lamp(const std::array<Vec3, 4>& corners) {
    add_white_floor();
    add_quad(corners, add_lamp(splat(1.0f)));
    return light_of({corners.begin(), corners.end()});
}

double add_triangle_lamp(const std::array<Vec3, 3>& corners) {
    add_white_floor();
    add_triangle(corners, add_lamp(splat(1.0f)));
    return light_of({corners.begin(), corners.end()});
}

// A new object with one part, placed in the root; its number.
std::size_t add_instanced_object(const Mat4& matrix) {
    const auto object = to_size(AddObject());
    AddPart(Objects[object]);
    Instance& instance = Objects[0].instances.emplace_back();
    instance.object = static_cast<std::uint32_t>(object);
    instance.matrix = matrix;
    return object;
}

// A quad in an object whose instance brings it to these corners by this matrix.
double add_instanced_lamp(const std::array<Vec3, 4>& corners, const Mat4& matrix) {
    add_white_floor();
    Mat4 inverse;
    invert(matrix, inverse);
    std::array<Vec3, 4> inner = corners;
    for (Vec3& corner : inner)
        corner = transform_point(inverse, corner);
    const bool mirrored = matrix.m[1][1] == 0.0f;
    if (mirrored) std::swap(inner[1], inner[3]);
    add_quad(inner, add_lamp(splat(1.0f)), add_instanced_object(matrix));
    return light_of({corners.begin(), corners.end()});
}

double add_soft_light(const Vec3& at) {
    add_white_floor();
    add_point_light(at).blur = 0.6f;
    const float square = dot(at, at);
    return static_cast<double>(at.z / (square * std::sqrt(square)));
}

// And one that a ball hides, larger than the way to either end.
double add_light_behind_ball() {
    add_point_light({8, 0, 8}).color = splat(100.0f);
    add_ball({4, 0, 4}, 3.0f, add_shader());
    begin_part();
    return add_soft_light({0, 0, 1});
}

// A floor of quads under lamps of their numbers, all over it: a face that took its sender for
// itself would let light pass.
double add_numbered_quads() {
    add_white_floor();
    add_instanced_lamp(ceiling(-9, -9, 9, 9, 1), {});
    for (const float x : {0.0f, 0.02f})
        add_level({x - 0.01f, -0.01f}, {x + 0.01f, 0.01f}, 0.0f, 1);
    return light_of({Vec3{-9, -9, 1}, Vec3{-9, 9, 1}, Vec3{9, 9, 1}, Vec3{9, -9, 1}});
}

int add_gloss(float roughness) {
    const int gloss = add_shader();
    slot(gloss, Element::ior).color = splat(1e9f);
    slot(gloss, Element::glossy).color = splat(1.0f);
    slot(gloss, Element::roughness).color = splat(roughness);
    return gloss;
}

// Coloured metal, stretched; diffuse light and emission as Burley has them.
int add_facets(float roughness) {
    const int facets = add_gloss(roughness);
    layer_of(facets).microfacet = Microfacet::ggx;
    layer_of(facets).diffuse_model = DiffuseModel::burley;
    slot(facets, Element::lambertian).color = splat(0.8f);
    slot(facets, Element::ior).color = splat(1.5f);
    slot(facets, Element::f0).color = splat(0.7f);
    slot(facets, Element::anisotropy).color = splat(0.4f);
    return facets;
}

constexpr Mat4 kTwice = {{{2, 0, 0, 1}, {0, 2, 0, -1}, {0, 0, 2, 0.5f}, {0, 0, 0, 1}}};
constexpr Mat4 kMirrored = {{{0, -2, 0, 1}, {-2, 0, 0, -1}, {0, 0, 2, 0.5f}, {0, 0, 0, 1}}};
constexpr Mat4 kSquashed = {{{3, 0, 0, 1}, {0, 1, 0, -1}, {0, 0.5f, 0.2f, 0.5f}, {0, 0, 0, 1}}};

// What a scene holds, and what its white floor shows.
struct Closed {
    const char* name;
    std::function<double()> build;
};

TEST(Exact, LampsAreTheirFormFactors) {
    const Closed cases[] = {
        {"rectangle", [] { return add_quad_lamp(ceiling(0, 0, 2, 1, 1)); }},
        {"close rectangle", [] { return add_quad_lamp(ceiling(-1, -1, 2, 1, 0.05f)); }},
        {"small rectangle", [] { return add_quad_lamp(ceiling(1, 1, 1.1f, 1.1f, 1)); }},
        {"standing rectangle",
         [] {
             return add_quad_lamp({Vec3{1, -1, 0}, {1, -1, 1}, {1, 1, 1}, {1, 1, 0}});
         }},
        {"parallelogram",
         [] {
             return add_quad_lamp({Vec3{0, 0, 1}, {-1, 1, 0.5f}, {0, 3, 0.5f}, {1, 2, 1}});
         }},
        {"triangle",
         [] {
             return add_triangle_lamp({Vec3{0, 0, 1}, {-1, 1, 0.5f}, {1, 2, 1}});
         }},
        {"close triangle",
         [] {
             return add_triangle_lamp({Vec3{-1, -2, 0.1f}, {-1, 2, 0.1f}, {1, 0, 0.1f}});
         }},
        {"scaled", [] { return add_instanced_lamp(ceiling(0, 0, 2, 1, 1), kTwice); }},
        {"mirrored", [] { return add_instanced_lamp(ceiling(0, 0, 2, 1, 1), kMirrored); }},
        {"squashed", [] { return add_instanced_lamp(ceiling(0, 0, 2, 1, 1), kSquashed); }},
        {"numbered quads", add_numbered_quads},
        {"soft light",
         [] {
             return add_soft_light({0, 0, 1});
         }},
        {"light behind a ball", add_light_behind_ball},
        {"oblique soft light",
         [] {
             return add_soft_light({1, 0, 1});
         }},
    };
    for (const Closed& one : cases) {
        ExactScene scene;
        const double expected = one.build();
        prepare(4, 64);
        expect_same(look(kClose, {}), {expected, 0.0}, one.name);
    }
}

// Hits are less precise there, and shadow rays start farther off the surface.
TEST(Exact, LampsLightWhatIsSeenFromAfar) {
    ExactScene scene;
    const double expected = add_triangle_lamp({Vec3{0, 0, 1}, {-1, 1, 0.5f}, {1, 2, 1}});
    prepare(4, 64);
    expect_same(look({0, -48, 36}, {}), {expected, 0.0}, "triangle");
}

constexpr Vec3 kOblique = {0.1f, -0.2f, 0.1f}, kGrazing = {0.99f, 0.0f, 0.02f};

// Light that is mirrored inside of a fibre twice is lost.
void expect_white_fibre(const Vec3& at) {
    for (const Vec3& side : {Vec3{0.0f, 0.02f, 1.0f}, {0.93f, 0.01f, 0.36f}}) {
        SkyLight.sample = 0;
        RendererSettings.bounce_samples = 4096;
        const Estimate bounced = look(at + side, at);
        EXPECT_NEAR(bounced.mean, 0.97, 0.03);
        SkyLight.sample = 4096;
        RendererSettings.bounce_samples = 4;
        expect_same(look(at + side, at), bounced, "fibre", 4.0);
    }
}

// What loses no light shows the sky from every side, however it is found.
TEST(Exact, WhiteThingsVanishInAWhiteSky) {
    struct Thing {
        const char* name;
        int shader;
        double effort;
    };

    for (const bool image : {false, true}) {
        ExactScene scene;
        const int white = add_shader(splat(1.0f)), leaf = add_shader(splat(0.5f));
        slot(leaf, Element::transmissive).color = splat(0.5f);
        const int frosted = add_glass();
        std::swap(slot(frosted, Element::glossy).color, slot(frosted, Element::specular).color);
        slot(frosted, Element::roughness).color = splat(0.2f);
        const int rough = add_glass();
        std::swap(slot(rough, Element::glossy).color, slot(rough, Element::specular).color);
        slot(rough, Element::roughness).color = splat(0.6f);
        const Thing things[] = {{"white", white, 3},
                                {"under a pane", white, 5},
                                {"leaf", leaf, 3},
                                {"frosted glass", frosted, 8},
                                {"slab of rough glass", rough, 8},
                                {"gloss 0.1", add_gloss(0.1f), 6},
                                {"gloss 0.3", add_gloss(0.3f), 12},
                                {"gloss 0.8", add_gloss(0.8f), 16}};
        add_fibre(
            add_instanced_object({{{1, 0, 0, 80}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}}));
        add_level({9, -1}, {11, 1}, 0.1f, add_glass(Material::thin));
        add_level({39, -1}, {41, 1}, -0.2f, rough, false);
        for (std::size_t i = 0; i < std::size(things); ++i) {
            const float x = 10.0f * static_cast<float>(i);
            add_level({x - 1, -1}, {x + 1, 1}, 0.0f, things[i].shader);
        }
        RendererSettings.ray_depth = RendererSettings.bounce = 32;
        set_white_sky(image ? 1 : 0, 1);
        prepare(64, 0);
        for (const int samples : {4, 64}) {
            if (image) SkyLight.sample = samples;
            for (std::size_t i = 0; i < std::size(things) && (image || samples == 4); ++i) {
                const Thing& thing = things[i];
                const Vec3 at = {10.0f * static_cast<float>(i), 0, 0};
                expect_same(look(at + kOblique, at), {1.0, 0.0}, thing.name, thing.effort);
                expect_same(look(at + kGrazing, at), {1.0, 0.0}, thing.name, thing.effort);
            }
        }
        if (image) expect_white_fibre({80, 0, 0});
    }
}

// A lamp all over the scene.
int add_big_lamp(Vec3 radiance = splat(1.0f)) {
    const int lamp = add_lamp(radiance);
    add_quad(ceiling(-1, -2, 1, 1, 1), lamp);
    return lamp;
}

void add_under_lamp(int shader) {
    add_floor(0.5f, 0.0f, shader);
    add_big_lamp();
}

void add_frosted_glass() {
    const int frosted = add_glass();
    std::swap(slot(frosted, Element::glossy).color, slot(frosted, Element::specular).color);
    slot(frosted, Element::roughness).color = splat(0.2f);
    add_floor(1.0f, 0.0f, frosted, false);
    add_floor(1.0f, 0.2f, frosted);
    add_floor(2.0f, -0.5f, add_lamp(splat(1.0f)));
}

void add_coated_lamp() {
    add_white_floor();
    const int lamp = add_big_lamp();
    slot(lamp, Element::ior).color = splat(1.5f);
}

// Two layers by their weights: a virtual light and one that is none.
void add_mixed_lamp() {
    add_white_floor();
    const int lamp = add_big_lamp();
    Shader& shader = at(Shaders, lamp);
    AddSurfaceLayer(shader);
    slot(shader, Element::emissive, 1).color = splat(3.0f);
    shader.layers[1].sideness = Sideness::face;
    slot(shader, Element::weight, 0).color = splat(0.75f);
    slot(shader, Element::weight, 1).color = splat(0.25f);
}

// Dark on one half.
void add_painted_lamp() {
    add_white_floor();
    const int lamp = add_big_lamp();
    const int image = FindOrAddImage("paint");
    AllocateImage(at(Textures, image), 2, 1, 3, 32, false);
    set_texel(at(Textures, image), 0, splat(1.0f));
    at(Textures, image).loaded = true;
    slot(lamp, Element::emissive).image = "paint";
    std::vector<Vec2>& places = uvs(Objects[0].parts[0]);
    const Vec2 corners[] = {{0, 0}, {0, 1}, {1, 1}, {1, 0}};
    std::copy(std::begin(corners), std::end(corners), places.end() - 4);
}

struct Scenery {
    const char* name;
    double effort;
    std::function<void()> build;
    Vec3 from = kClose;
};

// By lamp samples, few and many, and by bounces alone.
TEST(Exact, LampsAreTheSameByAnyNumberOfSamples) {
    const Vec3 oblique = {0.1f, 0.2f, 0.1f}, below = {0.1f, 0.2f, -0.3f};
    const Scenery cases[] = {
        {"pane", 6,
         [] {
             add_under_lamp(add_shader(splat(1.0f))), add_floor(1, 0.1f, add_glass(Material::thin));
         }},
        {"fog", 3,
         [] {
             add_under_lamp(add_shader(splat(1.0f)));
             SkyLight.medium.transmittance = splat(0.5f);
         }},
        {"frosted glass", 3, add_frosted_glass, {0.2f, -0.3f, 1.0f}},
        {"coated lamp", 3, add_coated_lamp},
        {"mixed lamp", 14, add_mixed_lamp},
        {"painted lamp", 6, add_painted_lamp},
        {"bent normals", 3,
         [] { // a part of the bounces would go below the floor
             add_under_lamp(add_shader(splat(1.0f)));
             Objects[0].parts[0].normals.assign(4, pack_unit({0.6f, 0.0f, 0.8f}));
             Objects[0].parts[0].normals.resize(8, pack_unit({0.0f, 0.0f, -1.0f}));
         }},
        {"leaf", 3,
         [] {
             const int curtain = add_shader();
             slot(curtain, Element::transmissive).color = splat(1.0f);
             add_under_lamp(curtain);
         },
         below},
        {"gloss 0.1", 4, [] { add_under_lamp(add_gloss(0.1f)); }, oblique},
        {"gloss 0.3", 12, [] { add_under_lamp(add_gloss(0.3f)); }, oblique},
        {"gloss 0.8", 14, [] { add_under_lamp(add_gloss(0.8f)); }, {0.5f, 0.2f, 0.05f}},
        {"facets 0.1", 4, [] { add_under_lamp(add_facets(0.1f)); }, oblique},
        {"facets 0.8", 4, [] { add_under_lamp(add_facets(0.8f)); }, {0.5f, 0.2f, 0.05f}},
        {"shining facets", 3,
         [] {
             add_coated_lamp();
             layer_of(1).diffuse_model = DiffuseModel::burley;
         }},
        {"ball", 3,
         [] {
             add_ball({0, 0, -0.3f}, 0.3f, add_shader(splat(1.0f))), add_big_lamp();
         }},
    };
    for (const Scenery& one : cases) {
        Estimate bounced;
        for (const int samples : {0, 64}) {
            ExactScene scene;
            one.build();
            prepare(256, 4 * samples);
            const Estimate seen = look(one.from, {});
            if (samples == 0)
                bounced = seen;
            else
                expect_same(seen, bounced, one.name, one.effort);
        }
    }
}

// Gather rays find what has no cells: without it a quarter of the sky would be black.
TEST(Exact, GatherRaysSeeBallsOfTheRoot) {
    ExactScene scene;
    add_ball({0, 0, 1}, 0.5f, add_shader(splat(1.0f)));
    begin_part();
    add_white_floor();
    set_white_sky(0, 1);
    SkyLight.photons = 1000;
    RendererSettings.distance = 0.01f;
    prepare(64, 0);
    EXPECT_TRUE(RendererSettings.final_gather);
    expect_same(look(kClose, {}), {1.0, 0.0}, "floor under a ball", 3.0);
}

// A lamp in brushed metal is stretched along the same way whether the floor is turned itself or by
// its instance.
TEST(Exact, TangentsTurnWithInstances) {
    Estimate seen[2];
    for (const bool instanced : {false, true}) {
        ExactScene scene;
        const int brushed = add_gloss(0.2f);
        slot(brushed, Element::anisotropy).color = splat(0.8f);
        const Mat4 turn = {{{0.6f, -0.8f, 0, 0}, {0.8f, 0.6f, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}};
        std::array<Vec3, 4> corners = {Vec3{-1, -1, 0}, {1, -1, 0}, {1, 1, 0}, {-1, 1, 0}};
        const std::size_t object = instanced ? add_instanced_object(turn) : 0;
        for (Vec3& corner : corners)
            if (!instanced) corner = transform_point(turn, corner);
        add_quad(corners, brushed, object);
        uvs(Objects[object].parts[0]) = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
        const int lamp = add_lamp(splat(1.0f));
        const std::size_t lamps = add_instanced_object({});
        add_quad(ceiling(-0.1f, 0.5f, 0.1f, 0.7f, 1), lamp, lamps);
        prepare(4, 64);
        seen[instanced] = look({0, -0.6f, 0.9f}, {});
    }
    EXPECT_GT(seen[0].mean, 0.0);
    EXPECT_NEAR(seen[1].mean / seen[0].mean, 1.0, 1e-3);
}

// The right one of two neighbouring pixels under a ceiling, by seed. An image of the lamps' light
// keeps them from sharing their bounces.
std::vector<double> under_ceiling(bool alone, const std::function<void(int grey)>& furnish) {
    constexpr int kManyFrames = 512; // one bounce each
    ExactScene scene;
    RendererSettings.bounce = 2;
    const int grey = add_shader({0.8f, 0.6f, 0.5f});
    add_floor(4.0f, 0.0f, grey);
    add_quad(ceiling(-4, -4, 4, 4, 2), grey);
    furnish(grey);
    if (alone) AddAov(GeometryLight.aov_list);
    prepare(1, 1);
    place_camera(2, {0.0f, -0.1f, 1.9f}, {}, {0.0f, 1.0f, 0.0f}, 60.0f);
    Cameras[0].sample = kManyFrames;
    InitializeCameras();
    std::vector<double> values(kSeeds);
    std::vector<Vec3> pixels;
    for (int seed = 0; seed < kSeeds; ++seed) {
        RendererSettings.seed = seed;
        for (int frame = 0; frame < kManyFrames; ++frame) {
            RenderPixelsTo(pixels, static_cast<std::uint32_t>(frame));
            at(values, seed) += static_cast<double>(pixels[1].x);
        }
    }
    return values;
}

// The paths are the same, so that their differences vary little.
void expect_fair_shares(const std::string& name, const std::function<void(int grey)>& furnish) {
    const std::vector<double> shared = under_ceiling(false, furnish);
    const std::vector<double> alone = under_ceiling(true, furnish);
    const double mean = std::accumulate(alone.begin(), alone.end(), 0.0) / kSeeds;
    const Estimate ratio = mean_of_runs(
        kSeeds, [&](int seed) { return 1.0 + (at(shared, seed) - at(alone, seed)) / mean; });
    EXPECT_GT(ratio.error, 0.0) << "not shared at all: " << name;
    expect_unbiased(name, ratio, 1.0, {kWanted + 4.0 * kNoticed, kWanted});
}

// At each side of a wall: the brighter one. On a table, from which bounces end in the light on the
// ceiling some twenty times as densely as those from the floor beside it.
TEST(Exact, NeighboursShareNothingButWhatBothSee) {
    expect_fair_shares("beside a wall", [](int grey) {
        add_quad({Vec3{0, -4, 0}, {0, 4, 0}, {0, 4, 1.2f}, {0, -4, 1.2f}}, grey);
        add_level({0.2f, -2.0f}, {2.0f, 2.0f}, 1.0f, add_lamp(splat(4.0f)));
    });
    expect_fair_shares("on a table", [](int grey) {
        add_level({0.0f, -1.0f}, {1.0f, 1.0f}, 1.5f, grey);
        add_level({0.2f, -0.2f}, {0.4f, 0.2f}, 1.7f, add_lamp(splat(4.0f)));
    });
}

} // namespace
} // namespace mh
