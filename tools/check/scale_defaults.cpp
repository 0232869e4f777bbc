// Fractions of the size of a scene.
// SPDX-License-Identifier: MIT
#include "check/scale_defaults.h"

#include "geometry/objects.h"
#include "geometry/state.h"
#include "math/faces.h"
#include "run/state.h"

#include <algorithm>
#include <cmath>

namespace mh {

namespace {

// Of half the diagonal of the scene.
constexpr float kGatherDistance = 0.15f; // furniture in a room
constexpr float kCausticRadius = 0.02f;
constexpr float kStrandRadius = 0.001f;
constexpr float kParticleRadius = 0.005f;

constexpr float kCellsOfBox = 10000.0f; // a million photons leave about a hundred in each

// Faces that are smaller hold no photons, and read black.
constexpr double kSmallestArea = 1e-5;
constexpr double kMostBlack = 0.01; // share of the area
constexpr int kBouncesOfPaths = 4;

GatherScale gather_scale;

float radius_of(const Aabb& box) {
    const Vec3 d = box.max - box.min;
    return static_cast<float>(0.5 * std::hypot(d.x, d.y, d.z));
}

void merge_corners(Aabb& box, const Aabb& inner, const Mat4& matrix) {
    if (inner.min.x > inner.max.x) return;
    for (unsigned corner = 0; corner < 8; ++corner) {
        const Vec3 p = {(corner & 1) != 0 ? inner.max.x : inner.min.x,
                        (corner & 2) != 0 ? inner.max.y : inner.min.y,
                        (corner & 4) != 0 ? inner.max.z : inner.min.z};
        const Vec3 placed = transform_point(matrix, p);
        if (is_finite(placed)) merge(box, placed);
    }
}

Vec3 corner(const Part& part, std::uint32_t vertex) {
    return vertex < part.positions.size() ? part.positions[vertex] : Vec3{};
}

struct Areas {
    double all = 0.0, black = 0.0;
};

void add_area(Areas& areas, double area) {
    areas.all += area;
    if (area <= kSmallestArea) areas.black += area;
}

// Whether so much of the surface holds no photons that the picture would show it.
bool faces_are_tiny() {
    Areas areas;
    for (const Object& object : Objects)
        for (const Part& part : object.parts) {
            const auto at = [&](std::uint32_t vertex) { return corner(part, vertex); };
            for (const Triangle& t : part.triangles)
                add_area(areas, static_cast<double>(triangle_area(at(t.vertex[0]), at(t.vertex[1]),
                                                                  at(t.vertex[2]))));
            for (const Tetragon& t : part.tetragons)
                add_area(areas,
                         static_cast<double>(tetragon_area(at(t.vertex[0]), at(t.vertex[1]),
                                                           at(t.vertex[2]), at(t.vertex[3]))));
        }
    return areas.black > kMostBlack * areas.all;
}

bool gives(const SceneLines& lines, const char* key) {
    return lines.gather_keys.contains(key);
}

void fill_in_gathering(const SceneLines& lines) {
    RendererSettingsRecord& settings = RendererSettings;
    const GatherScale& scale = gather_scale;
    if (!gives(lines, "radius")) settings.radius = scale.radius;
    if (!gives(lines, "resolution")) settings.resolution = scale.resolution;
    if (!gives(lines, "distance")) settings.distance = scale.distance;
    if (gives(lines, "resolution") || gives(lines, "distance") || !faces_are_tiny()) return;
    settings.distance = 0.0f;
    if (!gives(lines, "bounce")) settings.bounce = kBouncesOfPaths;
}

// Text files of strands have no radii, and images of particles need not have any.
void fill_in_radii(const SceneLines& lines) {
    const float radius = radius_of(lines.box);
    for (const PartSource& source : lines.parts) {
        if (source.has_radius) continue;
        std::vector<float>& values = radii(Objects[source.object].parts[source.part]);
        const auto is_zero = [](float r) { return r == 0.0f; };
        if (source.key == "fur")
            std::fill(values.begin(), values.end(), kStrandRadius * radius);
        else if (source.key == "particle_texture"
                 && std::all_of(values.begin(), values.end(), is_zero))
            std::fill(values.begin(), values.end(), kParticleRadius * radius);
    }
}

} // namespace

Aabb BoxOfScene(const std::vector<std::uint32_t>& targets_first, std::uint32_t root) {
    std::vector<Aabb> boxes(Objects.size());
    for (const std::uint32_t index : targets_first) {
        Aabb& box = boxes[index];
        for (const Part& part : Objects[index].parts)
            for (const Vec3& p : part.positions)
                if (is_finite(p)) merge(box, p);
        for (const Instance& instance : Objects[index].instances)
            if (instance.object != kUnresolved)
                merge_corners(box, boxes[instance.object], instance.matrix);
    }
    return boxes[root];
}

const GatherScale& GatherScaleOfScene() {
    return gather_scale;
}

void FillInScale(const SceneLines& lines) {
    gather_scale = {};
    const float radius = radius_of(lines.box);
    if (!(radius > 0.0f) || !std::isfinite(radius)) return;
    gather_scale = {kGatherDistance * radius, 2.0f * half_area(lines.box) / kCellsOfBox,
                    kCausticRadius * radius};
    fill_in_gathering(lines);
    fill_in_radii(lines);
}

} // namespace mh
