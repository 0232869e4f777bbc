// What goes into output images, pixel by pixel.
// SPDX-License-Identifier: MIT
#include "output/aov.h"

#include "geometry/types.h"
#include "output/camera.h"
#include "output/run_hooks.h"
#include "output/state.h"
#include "run/state.h"
#include "support/expect.h"

#include <utility>

#include <gtest/gtest.h>

namespace mh::test {
namespace {

constexpr int kPixel = 2; // of four

struct AovTest : testing::Test {
    AovTest() {
        ray.thread = 3;
        ray.sample_divisor = 2;
        ThreadStates[3].pixel = kPixel;
    }

    // The value at the pixel after one hit, and a check that no other pixel got any.
    Vec3 after_hit(std::uint32_t channel, const std::string& user_data = "undefined") {
        Camera camera;
        camera.aovs.resize(1);
        Aov& aov = camera.aovs[0];
        aov.channel = channel;
        aov.user_data = user_data;
        AllocateAov(aov, 2, 2);
        FindFirstHitImages(camera);
        write_first_hit_aovs(ray, point, parts, emission);
        for (const int other : {0, 1, 3})
            EXPECT_EQ(read_pixel(aov.image, other), Vec3{});
        return read_pixel(aov.image, kPixel);
    }

    Ray ray;
    SurfacePoint point;
    LightSplit parts;
    Vec3 emission;
};

TEST_F(AovTest, EachChannelTakesItsShareOfItsOwnValue) {
    point.normal = {0.0f, 0.0f, -1.0f};
    point.tangent = {1.0f, 0.0f, 0.0f};
    point.position = {3.0f, 4.0f, 1.0f};
    ray.origin = {0.0f, 0.0f, 1.0f};
    point.lambertian_color = splat(8.0f);
    point.transmissive_color = splat(32.0f);
    point.glossy_color = splat(128.0f);
    point.specular_color = splat(512.0f);
    parts = {splat(4.0f), splat(16.0f), splat(64.0f), splat(256.0f)};
    emission = splat(1024.0f);
    // Colours and parts carry their channel's number.
    for (std::uint32_t channel = 4; channel <= 1024; channel *= 2)
        for (const std::uint32_t beauty : {0u, 1u})
            EXPECT_EQ(after_hit(channel | beauty).y, static_cast<float>(channel) / 2.0f);
    const std::pair<Channel, Vec3> others[] = {{Channel::normal, {0.25f, 0.25f, 0.0f}},
                                               {Channel::tangent, {0.5f, 0.25f, 0.25f}},
                                               {Channel::position, {1.5f, 2.0f, 0.5f}},
                                               {Channel::depth, splat(2.5f)}};
    for (const auto& [channel, value] : others)
        EXPECT_EQ(after_hit(static_cast<std::uint32_t>(channel)), value)
            << static_cast<std::uint32_t>(channel);

    for (const std::uint32_t black : {1u, 2u, 4u | 8u, 2048u | 4096u, 0u})
        EXPECT_EQ(after_hit(black), Vec3{}) << black;
    ray.depth = 1;
    EXPECT_EQ(after_hit(4), Vec3{});
}

TEST_F(AovTest, ValuesThatAreNotFiniteAreCountedAndAddNothingNorDoForeignFormats) {
    emission = {1.0f, kNan, 1.0f};
    EXPECT_EQ(after_hit(1024), Vec3{});
    Aov bright;
    AllocateAov(bright, 2, 2);
    for (int i = 0; i < 3; ++i) // the second does not fit in a float any more
        add_to_aov(bright, ray, splat(3e38f));
    EXPECT_EQ(read_pixel(bright.image, kPixel), splat(3e38f));
    EXPECT_EQ(Hooks.aov_values_not_finite.exchange(0), 3);
    for (const int bits : {1, 8, 16, 64}) {
        Aov aov;
        aov.image.bits = bits;
        AllocateAov(aov, 2, 2);
        add_to_aov(aov, ray, splat(1.0f));
        EXPECT_EQ(read_pixel(aov.image, kPixel), Vec3{}) << bits;
    }
    Aov never_allocated;
    add_to_aov(never_allocated, ray, splat(1.0f));
}

TEST_F(AovTest, PrimvarsAreInterpolatedByTheKindOfTheHit) {
    Part part;
    part.particles = {3};
    part.cylinders = {1};
    part.triangles = {{{0, 2, 3}, 0}};
    part.tetragons = {{{0, 1, 2, 3}, 0}};
    part.scalar_arrays = {{"weight", {9.0f, 9.0f, 9.0f, 9.0f}},
                          {"weight", {2.0f, 4.0f, 8.0f, 16.0f}}};
    part.vec2_arrays = {{"uv", {{0.0f, 0.0f}, {0.0f, 8.0f}, {8.0f, 8.0f}, {8.0f, 0.0f}}},
                        {"weight", {{7.0f, 7.0f}}}};
    part.vec3_arrays = {{"short", {{2.0f, 4.0f, 6.0f}}}};
    ray.hit_part = &part;
    ray.hit_primitive = 0;
    ray.sample_divisor = 1;

    const struct {
        HitKind kind;
        std::uint32_t channel;
        const char* name;
        Vec3 value;
    } cases[] = {
        {HitKind::particle, 32768, "weight", splat(16)}, // the last of that name, scalars first
        {HitKind::hair, 32769, "weight", splat(5)},
        {HitKind::triangle, 32769, "weight", splat(0.5f * 2 + 0.25f * 8 + 0.25f * 16)},
        {HitKind::triangle, 32769, "short", {1, 2, 3}}, // a missing value is 0
        {HitKind::triangle, 32769, "nowhere", {}},
        {HitKind::tetragon, 32769, "uv", {4, 2, 0}}}; // a: edge 0 1 to 3 2, b along these

    ray.hit_a = 0.5f;
    ray.hit_b = ray.hit_c = 0.25f;
    for (const auto& c : cases) {
        ray.hit_kind = c.kind;
        EXPECT_EQ(after_hit(c.channel, c.name), c.value) << c.name;
    }
    ray.hit_primitive = -1;
    EXPECT_EQ(after_hit(32769, "uv"), Vec3{});
}

} // namespace
} // namespace mh::test
