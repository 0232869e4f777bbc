// Closed forms of the radiance estimator and its bounces: furnaces, series, mirrors, cut-offs.
// SPDX-License-Identifier: MIT
#include "integrate/radiance.h"

#include "frame/phases.h"
#include "geometry/state.h"
#include "integrate/pixel_loop.h"
#include "integrate/renderer.h"
#include "integrate/run_context.h"
#include "lights/state.h"
#include "math/at.h"
#include "output/aov.h"
#include "output/camera.h"
#include "output/run_hooks.h"
#include "output/state.h"
#include "run/state.h"
#include "shading/state.h"
#include "support/expect.h"
#include "support/scene.h"

#include <cmath>
#include <tuple>

#include <gtest/gtest.h>
#include <pthread.h>

namespace mh {
namespace {

using namespace test;

constexpr float kRounding = 1e-5f; // of a dozen operations on floats

const Vec3 kSky = {0.25f, 0.5f, 0.75f};
const Vec3 kAbove = {0.3f, 0.1f, 2.0f};

struct Radiance : testing::Test {
    std::string library_report() { return scene.library.take_report(); }

    Scene scene;
};

// Surfaces that lose no light show the sky from every side: diffuse; diffuse and mirror by
// Fresnel; half of the light passing through; frosted glass, many of whose reflections at grazing
// angles would enter it.
TEST_F(Radiance, WhiteSurfacesVanishInAConstantSky) {
    SkyLight.color = kSky;
    const int white = add_shader(splat(1.0f)), coated = add_shader(splat(1.0f));
    slot(coated, Element::specular).color = splat(1.0f);
    slot(coated, Element::ior).color = splat(1.5f);
    const int curtain = add_shader(splat(0.5f));
    slot(curtain, Element::transmissive).color = splat(0.5f);
    const int frosted = add_glass();
    std::swap(slot(frosted, Element::glossy).color, slot(frosted, Element::specular).color);
    slot(frosted, Element::roughness).color = splat(0.1f);
    add_floor(1.0f, 0.0f, white);
    add_floor(1.0f, 10.0f, coated);
    add_floor(1.0f, 20.0f, curtain);
    add_floor(1.0f, 30.0f, frosted);
    RendererSettings.sample = 1000;
    RendererSettings.bounce = 8;
    Initialize();
    for (const float height : {0.0f, 10.0f, 20.0f, 30.0f})
        for (const Vec3& side : {kAbove, -kAbove, Vec3{40.0f, 0.0f, 1.0f}})
            expect_near(seen_along(side + Vec3{0, 0, height}, {0, 0, height}), kSky, 1e-4f);
    expect_near(seen_along(kAbove, 2.0f * kAbove), kSky, 0.0f);
}

// One channel that overflows leaves the others, and takes the limit where the user has set one; the
// mean of values near the largest float does not overflow.
TEST_F(Radiance, ChannelsThatAreNotFiniteCountAsNothing) {
    add_floor(100.0f, 0.0f, add_emitter({kInfinity, 2.0f, 3.3e38f}));
    place_camera(1, {0.0f, 0.0f, 1.0f}, {}, {0.0f, 1.0f, 0.0f}, 10.0f);
    Cameras[0].sample = 3;
    Initialize();
    for (std::uint32_t frame = 0; frame < 3; ++frame)
        RenderPixels(frame);
    const Image& beauty = Cameras[0].aovs[0].image;
    expect_near(read_pixel(beauty, 0) / Vec3{1.0f, 2.0f, 3.3e38f}, {0.0f, 1.0f, 1.0f});
    EXPECT_EQ(Hooks.samples_not_finite, 3);
    RendererSettings.clamp = {10.0f, kFar, 1.0f};
    std::vector<Vec3> pixels;
    RenderPixelsTo(pixels, 0);
    EXPECT_EQ(pixels[0], (Vec3{10.0f, 2.0f, 1.0f}));
    library_report();
    FinalizeRenderer();
    EXPECT_EQ(library_report().find("warning :( \trenderer - 3 samples of pixels and 0 values of "
                                    "AOVs are infinite or not numbers"),
              0u);
}

// Final gathering in an instance is the same: only hits in the root object read the density.
TEST_F(Radiance, EmissiveRoomGivesTheTruncatedSeries) {
    constexpr float kAlbedo = 0.5f;
    const int shader = add_shader(splat(kAlbedo));
    slot(shader, Element::emissive).color = {1.0f, 2.0f, 3.0f};
    add_room({-1.0f, -1.0f, -1.0f}, {1.0f, 1.0f, 1.0f}, shader);
    RendererSettings.sample = 500;

    // The sum of albedo^k for k from 0 to min(bounce, ray_depth - 1).
    const std::tuple<int, int, float> cases[] = {
        {1, 8, 1.5f}, {3, 8, 1.875f}, {8, 3, 1.75f}, {1, 1, 1.0f}};
    for (const bool instanced : {false, true}) {
        if (instanced) Objects.emplace_back().instances.emplace_back().object = 0;
        RendererSettings.distance = instanced ? 0.1f : 0.0f;
        Initialize();
        for (const auto& [bounce, ray_depth, series] : cases) {
            RendererSettings.bounce = bounce;
            RendererSettings.ray_depth = ray_depth;
            expect_near(seen_along({0.1f, 0.2f, 0.3f}, {1.0f, 0.5f, 0.4f}),
                        series * Vec3{1.0f, 2.0f, 3.0f}, 1e-4f);
        }
    }
}

TEST_F(Radiance, ThroughputAtTheThresholdEndsThePath) {
    add_floor(1.0f, 0.0f, add_emitter(splat(1.0f)));
    Initialize();
    for (const auto& [weight, seen] :
         {std::pair{kNothing, 0.0f}, {kNothing + 1e-6f, 1.0f}, {kNan, 0.0f}}) {
        Ray ray = camera_ray(kAbove, {});
        ray.weight = {kNothing, weight, 0.0f};
        EXPECT_EQ(radiance(ray).x, seen) << weight;
    }
}

// Emitting mirrors that face each other: E (1 - F) (1 + F + F^2 + ...), 255 hits.
float mirror_hall(float mirror) {
    return 1.0f - std::pow(mirror, 255.0f);
}

float add_mirror_hall() {
    constexpr float kIor = 1e4f;
    const int shader = add_emitter(splat(1.0f));
    slot(shader, Element::specular).color = splat(1.0f);
    slot(shader, Element::ior).color = splat(kIor);
    add_floor(1.0f, 0.0f, shader);
    add_floor(1.0f, 1.0f, shader);
    RendererSettings.ray_depth = 100000;
    return std::pow((kIor - 1.0f) / (kIor + 1.0f), 2.0f);
}

// The workers' stacks are what the runtime gives them.
TEST_F(Radiance, MirrorsReflectEachOtherToTheDeepestBounceOnEveryThread) {
    const float mirror = add_mirror_hall();
    place_camera(16, {0.0f, 0.0f, 0.5f}, {}, {0.0f, 1.0f, 0.0f}, 0.01f);
    Initialize();
    const Vec3 seen = seen_along({0.1f, 0.2f, 0.5f}, {0.1f, 0.2f, 0.0f});
    EXPECT_NEAR(seen.x, mirror_hall(mirror), 1e-4f);
    std::vector<Vec3> pixels;
    RenderPixelsTo(pixels, 0);
    ASSERT_EQ(pixels.size(), 256u);
    for (const Vec3& pixel : pixels)
        EXPECT_NEAR(pixel.x, mirror_hall(mirror), 1e-3f);
    EXPECT_EQ(scene.library.take_report().find("stack"), std::string::npos);
}

// On a stack that is far too small the path ends early, and the report tells.
TEST_F(Radiance, SmallStackCutsThePath) {
    const float mirror = add_mirror_hall();
    Initialize();
    scene.library.take_report();
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, 192 * 1024);
    float seen = 0.0f;
    const auto look = [](void* result) -> void* {
        EnterWorker();
        *static_cast<float*>(result) = seen_along({0.1f, 0.2f, 0.5f}, {0.1f, 0.2f, 0.0f}).x;
        return nullptr;
    };
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, &attributes, look, &seen), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    EXPECT_LT(seen, mirror_hall(mirror) - 1e-3f);
    ReportCutPaths();
    EXPECT_NE(scene.library.take_report().find("warning :( \t"), std::string::npos);
    ThreadStates[0].lowest_frame = 0;
}

// A slab of glass shifts the ray, absorbs along its path inside and keeps the sky behind it:
// both faces pass 1 - F, everything else is black.
TEST_F(Radiance, GlassSlabPassesAndAbsorbs) {
    SkyLight.color = kSky;
    const int glass = add_glass();
    at(Shaders, glass).medium.transmittance = {0.5f, 1.0f, 0.25f};
    add_floor(100.0f, 0.0f, glass);
    add_floor(100.0f, -2.0f, glass, false);
    RendererSettings.ray_depth = 3;
    Initialize();
    const Vec3 seen = seen_along({0.0f, 0.0f, 1.0f}, {});
    // 0.04 of the sky above, and 0.96 of what crosses 2 units of glass: 0.96 of the sky below, and
    // of what the lower face sends back up through the glass nothing, since depth 3 is cut.
    const Vec3 inside = {0.25f, 1.0f, 0.0625f};
    expect_near(seen, 0.04f * kSky + 0.96f * 0.96f * (inside * kSky), kRounding);
}

TEST_F(Radiance, ThinSheetPassesWithBothInterfaces) {
    SkyLight.color = kSky;
    add_floor(1.0f, 0.0f, add_glass(Material::thin));
    add_floor(1.0f, -1.0f, add_emitter(splat(1.0f)));
    Initialize();
    const Vec3 seen = seen_along({0.0f, 0.0f, 1.0f}, {});
    expect_near(seen, splat(1.0f / 1.0833333f) + (1.0f - 1.0f / 1.0833333f) * kSky, kRounding);
}

TEST_F(Radiance, TheSkysMediumDimsWithDistance) {
    SkyLight.medium.transmittance = {0.5f, 0.25f, 0.0f};
    add_floor(1.0f, 0.0f, add_emitter(splat(1.0f)));
    Initialize();
    expect_near(seen_along({0.0f, 0.0f, 3.0f}, {}), {0.125f, 0.015625f, 0.0f}, 1e-6f);
}

} // namespace
} // namespace mh
