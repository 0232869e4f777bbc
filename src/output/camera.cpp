// Cameras: defaults, set-up and report, motion between the two poses, and the directions of primary
// rays. Set up by phase 1; during frames a camera is only read.
// SPDX-License-Identifier: MIT
#include "output/camera.h"

#include "math/at.h"
#include "math/constants.h"
#include "math/memory.h"
#include "math/roots.h"
#include "output/aov.h"
#include "output/feature_planes.h"
#include "output/state.h"
#include "run/report.h"
#include "run/types.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <string>

namespace mh {

namespace {

constexpr std::int32_t kMostFrames = 65535; // frame numbers have 16 bits

// Above this the sine of the angle between two up vectors is too small to divide by.
constexpr float kParallelUp = 0.999999f;

// The view of a camera without poses.
constexpr Vec3 kTowardsViewer = {0.5f, 0.4f, 1.0f};
constexpr float kFramedView_deg = 40.0f; // over the longer side of the image

constexpr double kBytesOfGigabyte = 1024.0 * 1024.0 * 1024.0;
constexpr double kWorkingBytes = 48.0; // of a pixel: sums of splats; an image while it is encoded

std::string gigabytes(double bytes) {
    char text[32] = {};
    std::snprintf(text, sizeof text, "%.1f GB", bytes / kBytesOfGigabyte);
    return text;
}

// An image that cannot be held or indexed is refused before anything is allocated for it.
void limit_size(Camera& camera) {
    camera.width = std::max(camera.width, 0);
    camera.height = std::max(camera.height, 0);
    const std::string fault = SizeFault(camera);
    if (fault.empty()) return;
    ReportError("camera - " + fault);
    camera.width = camera.height = 0;
}

bool same_given_fields(const CameraPose& a, const CameraPose& b) {
    return a.position == b.position && a.target == b.target && a.up_vector == b.up_vector
           && a.bokeh == b.bokeh && a.field_of_view == b.field_of_view;
}

bool has_pose(const Camera& camera) {
    const CameraPose unset;
    return !same_given_fields(camera.poses[0], unset) || !same_given_fields(camera.poses[1], unset);
}

// Spherical interpolation, [Shoemake85], of the vectors as they are; linear where they are
// too close to parallel or opposite.
Vec3 interpolate_up(const Vec3& a, const Vec3& b, float wa, float wb) {
    const float cos_angle = dot(a, b);
    if (std::fabs(cos_angle) > kParallelUp) return wa * a + wb * b;
    const float angle = std::acos(std::clamp(cos_angle, -1.0f, 1.0f));
    const float sin_angle = std::sin(angle);
    return (std::sin(angle * wa) / sin_angle) * a + (std::sin(angle * wb) / sin_angle) * b;
}

Vec3 pinhole_direction(const Camera& camera, const CameraPose& pose, int x, int y,
                       const Vec2& jitter) {
    const float right = static_cast<float>(x) - static_cast<float>(camera.width) * 0.5f + jitter.x;
    const float up = static_cast<float>(camera.height) * 0.5f - static_cast<float>(y) - jitter.y;
    return normalize(right * pose.right + pose.image_distance * pose.forward + up * pose.up);
}

// Latitude-longitude: the middle of the image looks forward, its top row up.
Vec3 spherical_direction(const Camera& camera, const CameraPose& pose, int x, int y,
                         const Vec2& jitter) {
    const float u = (static_cast<float>(x) + jitter.x) / static_cast<float>(camera.width);
    const float v = (static_cast<float>(y) + jitter.y) / static_cast<float>(camera.height);
    const float azimuth = u * kTwoPi - 0.5f * kPi;
    const float polar = v * kPi;
    const float sin_polar = std::sin(polar);
    return (-std::cos(azimuth) * sin_polar) * pose.right
           + (std::sin(azimuth) * sin_polar) * pose.forward + std::cos(polar) * pose.up;
}

Vec3 projected_direction(const Camera& camera, const CameraPose& pose, int x, int y,
                         const Vec2& jitter) {
    switch (camera.projection) {
    case Projection::pinhole: return pinhole_direction(camera, pose, x, y, jitter);
    case Projection::spherical: return spherical_direction(camera, pose, x, y, jitter);
    }
    return {}; // a host may store any byte
}

} // namespace

void ResetCamera(Camera& camera) {
    camera = Camera();
    camera.aovs.resize(1);
    camera.aovs[0].image.path = "beauty.hdr";
}

int AddCamera() {
    ResetCamera(Cameras.emplace_back());
    return static_cast<int>(Cameras.size()) - 1;
}

std::string SizeFault(const Camera& camera) {
    const double pixels = 1.0 * std::max(camera.width, 0) * std::max(camera.height, 0);
    const double images = static_cast<double>(camera.aovs.size());
    const double bytes = pixels * (bytes_of_pixel() * images + kWorkingBytes);
    const std::string size = std::to_string(camera.width) + " x " + std::to_string(camera.height);
    if (!FitsMemory(bytes))
        return size + " pixels need " + gigabytes(bytes) + " of memory, and "
               + gigabytes(SpareMemory()) + " are free";
    if (pixels > std::numeric_limits<std::int32_t>::max())
        return size + " pixels are more than 2^31 - 1";
    return {};
}

PixelRegion RenderedRegion(const Camera& camera) {
    const PixelRegion region = {std::max(camera.region_x0, 0), std::max(camera.region_y0, 0),
                                std::min(camera.region_x1, camera.width),
                                std::min(camera.region_y1, camera.height)};
    return region.x0 < region.x1 && region.y0 < region.y1 ? region : PixelRegion{};
}

std::size_t pixel_count(const PixelRegion& region) {
    return grid_size(region.x1 - region.x0, region.y1 - region.y0);
}

void LimitCamera(Camera& camera) {
    camera.sample = std::clamp(camera.sample, 1, kMostFrames);
    camera.inverse_sample = 1.0f / static_cast<float>(camera.sample);
    camera.region_x0 = std::max(camera.region_x0, 0);
    camera.region_y0 = std::max(camera.region_y0, 0);
    camera.region_x1 = std::min(camera.region_x1, camera.width);
    camera.region_y1 = std::min(camera.region_y1, camera.height);
}

void InitializeCamera(Camera& camera) {
    limit_size(camera);
    LimitCamera(camera);
    for (CameraPose& pose : camera.poses)
        BuildCameraFrame(pose, static_cast<float>(camera.width));
    camera.moving = !same_given_fields(camera.poses[0], camera.poses[1]);
    for (Aov& aov : camera.aovs)
        AllocateAov(aov, camera.width, camera.height);

    ReportLine("camera sensor width ", camera.width, "pixels");
    ReportLine("camera sensor height", camera.height, "pixels");
    ReportLine("camera memory       ",
               static_cast<float>(size_bytes(camera.aovs)) * kMegabytesPerByte, "M bytes");
    ReportRule();
}

void InitializeCameras() {
    for (Camera& camera : Cameras)
        InitializeCamera(camera);
    if (const Camera* camera = ActiveCamera()) AllocatePlanes(*camera);
}

// Names may repeat ("beauty.hdr" does by default): the rendered first camera is written last.
void FinalizeCameras() {
    for (auto camera = Cameras.rbegin(); camera != Cameras.rend(); ++camera) {
        WriteAovs(camera->aovs);
        ResetCamera(*camera);
    }
    Cameras.clear();
    ReleasePlanes();
}

void BuildCameraFrame(CameraPose& pose, float width) {
    const Vec3 view = pose.target - pose.position;
    pose.forward = normalize(view);
    pose.right = normalize(cross(pose.forward, normalize(pose.up_vector)));
    pose.up = normalize(cross(pose.right, pose.forward));
    pose.matrix = {{{pose.right.x, pose.forward.x, pose.up.x},
                    {pose.right.y, pose.forward.y, pose.up.y},
                    {pose.right.z, pose.forward.z, pose.up.z}}};
    pose.image_distance = (width * 0.5f) / std::tan(pose.field_of_view * kRadiansPerDegree * 0.5f);
    pose.focus_distance = length(view);
}

void FrameScene(Camera& camera, const Vec3& center, float radius) {
    if (has_pose(camera) || !(radius > 0.0f) || !std::isfinite(radius)) return;
    const auto width = static_cast<float>(camera.width), height = static_cast<float>(camera.height);
    const float half_tangent = std::tan(0.5f * kFramedView_deg * kRadiansPerDegree);
    const float narrow =
        std::atan(half_tangent * std::min(width, height) / std::max(width, height));
    CameraPose pose;
    pose.target = center;
    pose.position = center + (radius / std::sin(narrow)) * normalize(kTowardsViewer);
    pose.up_vector = {0.0f, 1.0f, 0.0f};
    pose.field_of_view =
        2.0f * std::atan(half_tangent * std::min(1.0f, width / height)) / kRadiansPerDegree;
    BuildCameraFrame(pose, width);
    camera.poses.fill(pose);
}

void InterpolateCameraPose(const Camera& camera, float t, CameraPose& pose) {
    const CameraPose& start = camera.poses[0];
    const CameraPose& end = camera.poses[1];
    const float w0 = 1.0f - t, w1 = t;
    pose.position = w0 * start.position + w1 * end.position;
    pose.target = w0 * start.target + w1 * end.target;
    pose.bokeh = w0 * start.bokeh + w1 * end.bokeh;
    pose.field_of_view = w0 * start.field_of_view + w1 * end.field_of_view;
    pose.up_vector = interpolate_up(start.up_vector, end.up_vector, w0, w1);
    BuildCameraFrame(pose, static_cast<float>(camera.width));
}

CameraPose FramePose(const Camera& camera, std::uint32_t frame) {
    const auto number = static_cast<std::uint16_t>(frame);
    CameraPose pose;
    InterpolateCameraPose(camera, (0.5f + number) / static_cast<float>(camera.sample), pose);
    return pose;
}

Vec3 primary_direction(const Camera& camera, const CameraPose& pose, int x, int y,
                       const Vec2& jitter) {
    const Vec3 direction = projected_direction(camera, pose, x, y, jitter);
    return is_finite(direction) ? direction : Vec3{};
}

} // namespace mh
