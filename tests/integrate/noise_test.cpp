// Planes of features and of noise.
// SPDX-License-Identifier: MIT
#include "frame/phases.h"
#include "integrate/pixel_loop.h"
#include "output/aov.h"
#include "output/feature_planes.h"
#include "run/state.h"
#include "support/expect.h"
#include "support/scene.h"

#include <cmath>

#include <gtest/gtest.h>

namespace mh {
namespace {

using namespace test;

// A pixel of a camera at height 1 that looks straight down on what stands at z = 0.
FeaturePlanes planes_of_pixel(int frames) {
    place_camera(1, {0.0f, 0.0f, 1.0f}, {}, {0.0f, 1.0f, 0.0f}, 1.0f);
    Cameras[0].sample = frames;
    AskForPlanes(PlaneNeed::features);
    Initialize();
    for (int frame = 0; frame < frames; ++frame)
        RenderPixels(static_cast<std::uint32_t>(frame));
    return TakeFeaturePlanes();
}

Vec3 of_pixel(const std::vector<float>& values) {
    return {values[0], values[1], values[2]};
}

// A mirror shows the floor's colour, tinted, the floor's own normal and the whole way to it.
TEST(FeaturePlanes, FollowMirrorsToWhatTheyShow) {
    Scene scene;
    const int mirror = add_shader(), red = add_shader({0.5f, 0.25f, 0.0f});
    slot(mirror, Element::specular).color = splat(1.0f);
    slot(mirror, Element::ior).color = splat(3.0f); // reflects a quarter
    add_floor(1.0f, 0.0f, mirror);
    add_floor(9.0f, 3.0f, red, false);
    RendererSettings.ray_depth = 4;
    const FeaturePlanes planes = planes_of_pixel(3);
    for (const int half : {0, 1}) {
        expect_near(of_pixel(planes.albedo.half[half]), {0.125f, 0.0625f, 0.0f}, 1e-3f);
        expect_near(of_pixel(planes.normal.half[half]), {0.0f, 0.0f, -1.0f}, 1e-3f);
        EXPECT_NEAR(planes.depth.half[half][0], 4.0f, 1e-3f);
    }
    EXPECT_EQ(planes.frames[0], 3.0f);
    EXPECT_LT(planes.depth.variance[0], 1e-6f);
}

// The halves are means over even and over odd frames: together they are the picture.
TEST(FeaturePlanes, HalvesMakeThePicture) {
    Scene scene;
    add_floor(1.0f, 0.0f, add_shader(splat(0.8f)));
    add_floor(2.0f, 3.0f, add_lamp(splat(1.0f)), false);
    constexpr int kFrames = 5;
    const FeaturePlanes planes = planes_of_pixel(kFrames);
    const Vec3 even = of_pixel(planes.beauty.half[0]), odd = of_pixel(planes.beauty.half[1]);
    expect_near((3.0f * even + 2.0f * odd) / kFrames, read_pixel(Cameras[0].aovs[0].image, 0),
                1e-6f);
    EXPECT_NE(even, odd);
}

} // namespace
} // namespace mh
