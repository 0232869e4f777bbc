// Lights and cameras. Candela and lux become colours by a factor pi; cameras without a pose see
// all.
// SPDX-License-Identifier: MIT
#include "import/linear.h"
#include "import/map_scene.h"
#include "math/at.h"
#include "math/roots.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace mh {

namespace {

constexpr double kPiExact = std::numbers::pi, kDegrees = 180.0 / std::numbers::pi;

// Where a light or camera stands on its node.
struct Stand {
    Matrix matrix = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    Linear turn = {};
};

Stand stand_on(const Placed& placed, std::int32_t node) {
    Stand stand;
    if (node >= 0) stand.matrix = at(placed.nodes, node);
    stand.turn = upper_left_of(stand.matrix);
    return stand;
}

bool is_direction(const Vec3& v) {
    return std::isfinite(dot(v, v)) && dot(v, v) > 0.0f;
}

std::string line(const char* key, const std::string& value) {
    return std::string("    ") + key + ' ' + value + '\n';
}

std::string comment(const char* kind, const std::string& name) {
    Names none;
    return std::string("# ") + kind + ' ' + UniqueName(none, name, "without a name") + '\n';
}

std::string light_text(const ImportedLight& light, const Stand& stand) {
    const Vec3 color = (1.0f / static_cast<float>(kPiExact)) * light.color;
    const Vec3 axis = normalize(turned(stand.turn, light.direction));
    if (light.kind == LightKind::directional)
        return comment("light", light.name) + "parallel_light\n"
               + line("direction", NumberText(axis)) + line("color", NumberText(color))
               + line("offset", "0") + "end\n";
    const bool spot = light.kind == LightKind::spot;
    constexpr double kSmallest = 0.01; // degrees between full light and none
    const double inner = spot ? std::clamp(light.inner_rad * kDegrees, 0.0, 179.0) : 180.0;
    const double outer =
        spot ? std::clamp(light.outer_rad * kDegrees, inner + kSmallest, 180.0) : 180.1;
    std::string text = comment("light", light.name) + "point_light\n"
                       + line("position", NumberText(moved(stand.matrix, light.position)));
    if (spot) text += line("direction", NumberText(axis));
    return text + line("color", NumberText(color)) + line("inner_angle", NumberText(inner))
           + line("outer_angle", NumberText(outer)) + line("offset", "0") + "end\n";
}

// A soft key light from the upper left and an even sky: what a photographer would start with.
std::string studio() {
    return "# The file has no lights: a grey sky and a soft light from the upper left.\n"
           "sky_light\n    color 0.25 0.25 0.25\n    photon 0\nend\n"
           "parallel_light\n    direction 0.5 0.7 -0.8\n    color 0.9 0.88 0.85\n    blur 10\n"
           "    offset 0\nend\n";
}

bool is_usable(const ImportedLight& light, const Stand& stand) {
    const Vec3& c = light.color;
    const bool shines = c.x >= 0.0f && c.y >= 0.0f && c.z >= 0.0f && c.x + c.y + c.z > 0.0f;
    const bool has_axis =
        light.kind == LightKind::point || is_direction(turned(stand.turn, light.direction));
    return light.kind != LightKind::unknown && shines && has_axis;
}

struct View {
    Vec3 position, target, up;
    double fov_deg = 45.0;
};

std::string camera_text(const std::string& head, int width, int height, const View& view) {
    std::string pose = line("    position", NumberText(view.position))
                       + line("    target", NumberText(view.target))
                       + line("    up_vector", NumberText(view.up))
                       + line("    field_of_view", NumberText(view.fov_deg));
    pose = "    pose\n" + pose + "    end\n";
    return head + "camera\n"
           + line("resolution", std::to_string(width) + ' ' + std::to_string(height))
           + line("sample", "64") + pose + pose + "end\n";
}

constexpr int kWidth = 960, kHeight = 540;

// From the front, the right and above.
struct Axes {
    Vec3 back = normalize(Vec3{0.45f, -0.8f, 0.4f});
    Vec3 right = normalize(cross(Vec3{0, 0, 1}, back)), up = cross(back, right);
};

Extent seen_of_all(const ImportedScene& scene, const Placed& placed) {
    const Axes a;
    return ExtentOf(
        scene, placed,
        {a.right.x, a.right.y, a.right.z, a.up.x, a.up.y, a.up.z, a.back.x, a.back.y, a.back.z});
}

// False for a camera that looks nowhere.
bool map_camera(const ImportedCamera& camera, const Stand& stand, std::string& text) {
    View view;
    view.position = moved(stand.matrix, camera.position);
    const Vec3 look = normalize(turned(stand.turn, camera.look));
    view.up = normalize(turned(stand.turn, camera.up));
    if (!is_direction(look) || !is_direction(cross(look, view.up))) return false;
    view.target = view.position + look;
    constexpr double kFlattest = 0.1, kWidest = 10.0;
    const bool open = !(camera.aspect > 0.0f);
    const double aspect = open ? static_cast<double>(kWidth) / kHeight
                               : std::clamp(static_cast<double>(camera.aspect), kFlattest, kWidest);
    double half = 0.5 * std::clamp(static_cast<double>(camera.fov_rad), 1e-3, 3.1);
    if (open) half = std::atan(std::tan(half) * aspect);
    view.fov_deg = 2.0 * half * kDegrees;
    text += camera_text(comment("camera", camera.name), kWidth,
                        std::max(1, static_cast<int>(std::lround(kWidth / aspect))), view);
    return true;
}

} // namespace

std::string MapLights(const ImportedScene& scene, const Placed& placed, std::size_t emissive,
                      MappedScene& mapped) {
    std::string text;
    for (const ImportedLight& light : scene.lights) {
        const Stand stand = stand_on(placed, light.node);
        if (is_usable(light, stand)) {
            text += light_text(light, stand);
            ++mapped.lamps;
        } else {
            mapped.dropped.push_back("light " + light.name
                                     + ", of a kind that is not known or without light");
        }
        if (light.kind == LightKind::spot)
            mapped.approximated.push_back("light " + light.name
                                          + ": its edge falls off linearly with the angle");
    }
    const bool lit = mapped.lamps > 0;
    text =
        (lit ? "# Nothing but the file's own lights.\nsky_light\n    color 0 0 0\nend\n" : studio())
        + text;
    if (emissive > 0)
        text += "# Meshes that glow.\ngeometry_light\n    sample 64\n    photon 0\nend\n";
    return text;
}

std::string MapCameras(const ImportedScene& scene, const Placed& placed, MappedScene& mapped) {
    std::string text;
    for (const ImportedCamera& camera : scene.cameras)
        if (!map_camera(camera, stand_on(placed, camera.node), text))
            mapped.dropped.push_back("camera " + camera.name + ", which looks nowhere");
    mapped.has_camera = !text.empty();
    if (mapped.has_camera) return text;
    mapped.seen = seen_of_all(scene, placed);
    return CameraOfAll(mapped.seen);
}

Extent Joined(const Extent& a, const Extent& b) {
    if (a.low.x > a.high.x) return b;
    return b.low.x > b.high.x ? a : Extent{min(a.low, b.low), max(a.high, b.high)};
}

// As near as the box fits that stands square to the view.
std::string CameraOfAll(const Extent& seen) {
    constexpr double kFov = 35.0, kMargin = 1.08;
    const Axes axes;
    const Vec3 half = 0.5f * (seen.high - seen.low), m = 0.5f * (seen.high + seen.low);
    const Vec3 middle = m.x * axes.right + m.y * axes.up + m.z * axes.back;
    const double across = std::tan(0.5 * kFov / kDegrees), high = across * kHeight / kWidth;
    const double distance = half.z + kMargin * std::max(half.x / across, half.y / high);
    const View view = {middle + static_cast<float>(distance) * axes.back, middle, {0, 0, 1}, kFov};
    return camera_text("# The file has no camera: this one sees all of it.\n", kWidth, kHeight,
                       view);
}

} // namespace mh
