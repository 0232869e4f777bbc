// Orbit, pan and dolly of both poses, and the text of a camera block.
// SPDX-License-Identifier: MIT
#include "serve/live_camera.h"

#include "math/constants.h"
#include "math/roots.h"
#include "scene/blocks.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <filesystem>

namespace mh {

namespace {

constexpr float kNearestPole_rad = 0.01f; // of the view to the up vector: there left and right end
constexpr float kNearest = 1e-4f;         // distance to the target, in scene units

// Of a vector around a unit axis, [Rodrigues1840].
Vec3 rotated(const Vec3& v, const Vec3& axis, float angle_rad) {
    const float c = std::cos(angle_rad), s = std::sin(angle_rad);
    return c * v + s * cross(axis, v) + ((1.0f - c) * dot(axis, v)) * axis;
}

void orbit(CameraPose& pose, float right_rad, float up_rad) {
    const Vec3 up = normalize(pose.up_vector);
    Vec3 arm = rotated(pose.position - pose.target, up, -right_rad);
    const Vec3 right = normalize(cross(up, arm));
    const float polar = std::acos(std::clamp(dot(normalize(arm), up), -1.0f, 1.0f));
    const float wanted = std::clamp(polar - up_rad, kNearestPole_rad, kPi - kNearestPole_rad);
    arm = rotated(arm, right, wanted - polar);
    pose.position = pose.target + arm;
}

void pan(CameraPose& pose, float right, float up) {
    const Vec3 view = pose.target - pose.position;
    const float width =
        2.0f * length(view) * std::tan(0.5f * pose.field_of_view * kRadiansPerDegree);
    const Vec3 to_right = normalize(cross(normalize(view), normalize(pose.up_vector)));
    const Vec3 upwards = normalize(cross(to_right, normalize(view)));
    const Vec3 way = width * (right * to_right + up * upwards);
    pose.position += way;
    pose.target += way;
}

void dolly(CameraPose& pose, float closer) {
    const Vec3 arm = std::exp(-closer) * (pose.position - pose.target);
    if (length(arm) > kNearest) pose.position = pose.target + arm;
}

void move_pose(CameraPose& pose, const CameraMove& move) {
    switch (move.motion) {
    case CameraMotion::orbit: return orbit(pose, move.x, move.y);
    case CameraMotion::pan: return pan(pose, move.x, move.y);
    case CameraMotion::dolly: return dolly(pose, move.x);
    }
}

std::string number(float value) {
    std::array<char, 32> text = {};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), value).ptr;
    return {text.data(), end};
}

std::string vector_line(const char* key, const Vec3& v) {
    return std::string("        ") + key + ' ' + number(v.x) + ' ' + number(v.y) + ' ' + number(v.z)
           + '\n';
}

std::string pose_text(const CameraPose& pose) {
    return "    pose\n" + vector_line("position", pose.position)
           + vector_line("target", pose.target) + vector_line("up_vector", pose.up_vector)
           + "        field_of_view " + number(pose.field_of_view) + "\n    end\n";
}

std::string aov_text(const Aov& aov, const std::string& output_dir) {
    const std::filesystem::path path = aov.image.path;
    const std::string name =
        output_dir.empty() ? path.string() : path.lexically_relative(output_dir).string();
    const std::string type = ChannelName(aov);
    return "    aov\n        image \"" + name + "\"\n"
           + (type.empty() ? "" : "        type \"" + type + "\"\n") + "    end\n";
}

} // namespace

void MoveCamera(Camera& camera, const CameraMove& move) {
    for (CameraPose& pose : camera.poses) {
        CameraPose moved = pose;
        move_pose(moved, move);
        if (is_finite(moved.position) && is_finite(moved.target)) pose = moved;
    }
}

std::string CameraBlockText(const Camera& camera, const std::string& output_dir) {
    std::string text = "camera\n";
    if (!camera.name.empty()) text += "    name \"" + camera.name + "\"\n";
    text += "    resolution " + std::to_string(camera.width) + ' ' + std::to_string(camera.height)
            + "\n    sample " + std::to_string(camera.sample) + '\n';
    const bool whole = camera.region_x0 <= 0 && camera.region_y0 <= 0
                       && camera.region_x1 >= camera.width && camera.region_y1 >= camera.height;
    if (!whole)
        text += "    region " + std::to_string(camera.region_x0) + ' '
                + std::to_string(camera.region_y0) + ' ' + std::to_string(camera.region_x1) + ' '
                + std::to_string(camera.region_y1) + '\n';
    if (camera.ior != 1.0f) text += "    ior " + number(camera.ior) + '\n';
    if (camera.projection == Projection::spherical) text += "    projection \"spherical\"\n";
    for (const CameraPose& pose : camera.poses)
        text += pose_text(pose);
    for (std::size_t i = 1; i < camera.aovs.size(); ++i)
        text += aov_text(camera.aovs[i], output_dir);
    return text + "end\n";
}

} // namespace mh
