// Projections, motion and set-up of cameras.
// SPDX-License-Identifier: MIT
#include "output/camera.h"

#include "math/at.h"
#include "math/constants.h"
#include "math/roots.h"
#include "output/state.h"
#include "run/types.h"
#include "support/expect.h"
#include "support/fresh_scene.h"

#include <cmath>
#include <limits>
#include <tuple>

#include <gtest/gtest.h>

namespace mh::test {
namespace {

constexpr float kRounding = 2e-6f; // a few roundings of numbers around 1

// At the origin, looking along +y, +x to the right.
CameraPose pose_along_y(float fov_deg = 90.0f) {
    CameraPose pose;
    pose.target = {0.0f, 5.0f, 0.0f};
    pose.up_vector = {0.0f, 0.0f, 3.0f};
    pose.field_of_view = fov_deg;
    return pose;
}

Camera camera_along_y(Projection projection) {
    Camera camera;
    ResetCamera(camera);
    camera.projection = projection;
    camera.width = 8;
    camera.height = 4;
    camera.poses = {pose_along_y(), pose_along_y()};
    return camera;
}

Vec3 direction_at(const Camera& camera, int x, int y, const Vec2& jitter = {}) {
    return primary_direction(camera, FramePose(camera, 0), x, y, jitter);
}

TEST(Camera, LooksThroughItsPixels) {
    const float side = std::sqrt(0.5f), end = 0.99999994f; // 45 degrees; the end of a pixel

    const struct {
        Projection projection;
        int x, y;
        Vec2 jitter;
        Vec3 direction;
    } cases[] = {{Projection::pinhole, 4, 2, {}, {0, 1, 0}},
                 {Projection::pinhole, 3, 1, {end, end}, {0, 1, 0}},
                 {Projection::pinhole, 0, 2, {}, {-side, side, 0}},
                 {Projection::pinhole, 8, 2, {}, {side, side, 0}},
                 {Projection::pinhole, 0, 0, {}, Vec3{-2, 2, 1} / 3.0f}, // row 0 is on top
                 {Projection::spherical, 4, 2, {}, {0, 1, 0}},
                 {Projection::spherical, 5, 0, {}, {0, 0, 1}},
                 {Projection::spherical, 2, 2, {}, {-1, 0, 0}},
                 {Projection::spherical, 0, 2, {}, {0, -1, 0}}}; // behind

    for (const auto& c : cases)
        expect_near(direction_at(camera_along_y(c.projection), c.x, c.y, c.jitter), c.direction,
                    kRounding);
}

TEST(Camera, GivesTheZeroVectorInPlaceOfADirectionThatIsNotFinite) {
    for (const float fov : {0.0f, kNan}) {
        Camera camera = camera_along_y(Projection::pinhole);
        camera.poses = {pose_along_y(fov), pose_along_y(fov)};
        EXPECT_EQ(direction_at(camera, 3, 3), Vec3{}) << fov;
    }
    Camera camera = camera_along_y(static_cast<Projection>(7));
    EXPECT_EQ(direction_at(camera, 3, 3), Vec3{});
    camera = camera_along_y(Projection::spherical);
    camera.width = camera.height = 0;
    EXPECT_EQ(direction_at(camera, 0, 0), Vec3{});
}

TEST(Camera, WithoutAPoseSpansTheSceneByTheShorterSideOfItsPicture) {
    const Vec3 center = {3.0f, -2.0f, 5.0f};
    for (const auto& [width, height] : {std::pair{8, 4}, {4, 8}}) {
        Camera camera;
        camera.width = width;
        camera.height = height;
        FrameScene(camera, center, 7.0f);
        const CameraPose pose = FramePose(camera, 0);
        const Vec3 edge = width < height ? direction_at(camera, 0, height / 2)
                                         : direction_at(camera, width / 2, 0);
        const float along = dot(center - pose.position, edge);
        expect_near(pose.forward, normalize(center - pose.position), kRounding);
        EXPECT_NEAR(length(pose.position + along * edge - center), 7.0f, 1e-4f); // it is a tangent
        EXPECT_GT(pose.up.y, 0.5f);
        EXPECT_NEAR(pose.right.y, 0.0f, kRounding); // level
    }
    Camera posed = camera_along_y(Projection::pinhole);
    FrameScene(posed, center, 7.0f);
    EXPECT_EQ(posed.poses[0].target, pose_along_y().target);
}

TEST(CameraMotion, BlendsFieldsAtTheMiddleOfEachFrame) {
    Camera camera = camera_along_y(Projection::pinhole);
    camera.sample = 4;
    camera.poses[1].position = {8.0f, 0.0f, 0.0f};
    camera.poses[1].field_of_view = 50.0f;
    EXPECT_NEAR(FramePose(camera, 0).position.x, 1.0f, kRounding);
    const CameraPose last = FramePose(camera, 3);
    EXPECT_NEAR(last.position.x, 7.0f, kRounding * 8.0f);
    EXPECT_NEAR(last.field_of_view, 55.0f, kRounding * 90.0f);
    EXPECT_NEAR(last.focus_distance, std::hypot(7.0f, 5.0f), kRounding * 8.0f);
    EXPECT_NEAR(last.image_distance, 4.0f / std::tan(27.5f * kPi / 180.0f), kRounding * 8.0f);
}

// As they are, not normalised: the lengths take part in the angle.
TEST(CameraMotion, TurnsUpVectorsOnTheSphereUnlessTheyAreParallelOrOpposite) {
    const std::tuple<Vec3, Vec3, float, Vec3> cases[] = {
        {Vec3{0, 0, 1}, Vec3{1, 0, 0}, 1.0f / 3.0f, Vec3{0.5f, 0, std::sqrt(0.75f)}}, // 30 degrees
        {Vec3{0, 0, 1}, Vec3{0, 0, -1}, 0.5f, Vec3{}},
        {Vec3{0, 0, 0.5f}, Vec3{0, 0, 1}, 0.5f, Vec3{0, 0, 0.75f / std::sqrt(0.75f)}}}; // of 60
    for (const auto& [first, last, time, up] : cases) {
        Camera camera = camera_along_y(Projection::pinhole);
        camera.poses[0].up_vector = first;
        camera.poses[1].up_vector = last;
        CameraPose pose;
        InterpolateCameraPose(camera, time, pose);
        expect_near(pose.up_vector, up, kRounding);
        EXPECT_TRUE(is_finite(pose.right) && is_finite(pose.up));
    }
}

TEST(InitializeCameras, RefusesSizesThatNoMemoryHolds) {
    FreshScene scene;
    const int huge = std::numeric_limits<int>::max();
    for (const auto& [width, height] :
         {std::pair{huge, huge}, {-5, 7}, {0, huge}, {65536, 65536}}) {
        Cameras.assign(1, camera_along_y(Projection::pinhole));
        Cameras[0].width = width;
        Cameras[0].height = height;
        Cameras[0].sample = -1;
        InitializeCameras();
        EXPECT_EQ(Cameras[0].sample, 1);
        EXPECT_EQ(std::int64_t{Cameras[0].width} * Cameras[0].height, 0)
            << width << " x " << height;
        EXPECT_TRUE(Cameras[0].aovs[0].image.floats.empty());
    }
    const std::string report = scene.take_report();
    EXPECT_NE(report.find("error :( \tcamera - 65536 x 65536 pixels"), std::string::npos) << report;
    Cameras.clear();
}

TEST(FinalizeCameras, WritesTheRenderedFirstCameraLast) {
    TemporaryFolder folder;
    FreshScene scene;
    for (const int width : {8, 16}) {
        at(Cameras, AddCamera()).width = width;
        Cameras.back().height = 2;
    }
    InitializeCameras();
    FinalizeCameras();
    EXPECT_TRUE(Cameras.empty());
    EXPECT_NE(content_of("beauty.hdr").find("-Y 2 +X 8\n"), std::string::npos);
}

} // namespace
} // namespace mh::test
