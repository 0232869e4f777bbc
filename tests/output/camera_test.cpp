// Projections, motion and set-up of cameras.
// SPDX-License-Identifier: MIT
#include "output/camera.h"

#include "frame/types.h"
#include "math/constants.h"
#include "math/roots.h"
#include "support/expect.h"
#include "support/fresh_scene.h"

#include <cmath>
#include <limits>

#include <FreeImage.h>
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

TEST(PinholeCamera, SpansItsHorizontalAngleWithRowZeroOnTop) {
    const Camera camera = camera_along_y(Projection::pinhole);
    const float side = std::sqrt(0.5f); // 45 degrees to the left and right; corner (-4, 4, 2) / 6
    expect_near(direction_at(camera, 4, 2), {0.0f, 1.0f, 0.0f}, kRounding);
    expect_near(direction_at(camera, 3, 1, {0.99999994f, 0.99999994f}), {0.0f, 1.0f, 0.0f},
                kRounding);
    expect_near(direction_at(camera, 0, 2), {-side, side, 0.0f}, kRounding);
    expect_near(direction_at(camera, 8, 2), {side, side, 0.0f}, kRounding);
    expect_near(direction_at(camera, 0, 0), {-2.0f / 3.0f, 2.0f / 3.0f, 1.0f / 3.0f}, kRounding);
}

TEST(SphericalCamera, LooksForwardInTheMiddleUpOnTopAndLeftOnTheLeft) {
    const Camera camera = camera_along_y(Projection::spherical);
    expect_near(direction_at(camera, 4, 2), {0.0f, 1.0f, 0.0f}, kRounding);
    expect_near(direction_at(camera, 5, 0), {0.0f, 0.0f, 1.0f}, kRounding);
    expect_near(direction_at(camera, 2, 2), {-1.0f, 0.0f, 0.0f}, kRounding);
    expect_near(direction_at(camera, 0, 2), {0.0f, -1.0f, 0.0f}, kRounding); // behind
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

TEST(CameraMotion, TurnsUpVectorsOnTheSphereUnlessTheyAreParallelOrOpposite) {
    Camera camera = camera_along_y(Projection::pinhole);
    CameraPose pose;
    camera.poses[0].up_vector = {0.0f, 0.0f, 1.0f};
    camera.poses[1].up_vector = {1.0f, 0.0f, 0.0f};
    InterpolateCameraPose(camera, 1.0f / 3.0f, pose); // 30 of 90 degrees
    expect_near(pose.up_vector, {0.5f, 0.0f, std::sqrt(0.75f)}, kRounding);

    camera.poses[1].up_vector = {0.0f, 0.0f, -1.0f};
    InterpolateCameraPose(camera, 0.5f, pose);
    EXPECT_EQ(pose.up_vector, Vec3{});
    EXPECT_TRUE(is_finite(pose.right) && is_finite(pose.up));

    // As they are, not normalised: the lengths take part in the angle.
    camera.poses[0].up_vector = {0.0f, 0.0f, 0.5f};
    camera.poses[1].up_vector = {0.0f, 0.0f, 1.0f}; // acos(0.5) = 60 degrees
    InterpolateCameraPose(camera, 0.5f, pose);
    expect_near(pose.up_vector, {0.0f, 0.0f, 1.5f * 0.5f / std::sqrt(0.75f)}, kRounding);
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
        Cameras[static_cast<std::size_t>(AddCamera())].width = width;
        Cameras.back().height = 2;
    }
    InitializeCameras();
    FinalizeCameras();
    EXPECT_TRUE(Cameras.empty());
    FIBITMAP* bitmap = FreeImage_Load(FIF_HDR, "beauty.hdr", 0);
    ASSERT_NE(bitmap, nullptr);
    EXPECT_EQ(FreeImage_GetWidth(bitmap), 8u);
    FreeImage_Unload(bitmap);
}

} // namespace
} // namespace mh::test
