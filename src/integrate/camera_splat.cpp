// Splats of photons: projection, weight and shadow test, summed per pixel.
// SPDX-License-Identifier: MIT
#include "integrate/camera_splat.h"

#include "accel/walk.h"
#include "integrate/atomic_sums.h"
#include "integrate/state.h"
#include "lights/light_sampling.h"
#include "math/at.h"
#include "math/roots.h"
#include "output/aov.h"
#include "output/camera.h"
#include "shading/microfacet.h"
#include "shading/scattering.h"

#include <algorithm>

namespace mh {

namespace {

constexpr float kBorder = 1e-8f;           // a pixel coordinate is this much below the image's size
constexpr float kSmallestCosine = 1e-6f;   // below it the normals' ratio means nothing
constexpr float kGlossyScale = 4.0f * kPi; // lobes carry 1 / (4 pi), lights a folded pi

bool is_light_path(const Aov& aov) {
    return holds(aov, Channel::light_path);
}

std::size_t pixel_count(const Camera& camera) {
    return grid_size(std::max(camera.width, 0), std::max(camera.height, 0));
}

// Pixel that sees the position from the camera's first pose; false outside the image.
bool project(const Camera& camera, const Vec3& position, std::size_t& pixel) {
    const CameraPose& pose = camera.poses[0];
    const Vec3 v = position - pose.position;
    const float scale = pose.image_distance / dot(v, pose.forward);
    const float width = static_cast<float>(camera.width),
                height = static_cast<float>(camera.height);
    const float x = 0.5f * width + scale * dot(v, pose.right);
    const float y = 0.5f * height - scale * dot(v, pose.up);
    if (!(x >= 0.0f && x + kBorder < width && y >= 0.0f && y + kBorder < height)) return false;
    pixel = grid_place(static_cast<std::int64_t>(x), static_cast<std::int64_t>(y), camera.width);
    return true;
}

// Pixels per unit of area at the point, seen along direction from a squared distance, with the
// correction of shading normals for light that travels towards the camera [Veach97] 5.3.2. 0 when
// the camera or the surface faces away.
float camera_weight(const CameraPose& pose, const SurfacePoint& point, const Vec3& direction,
                    float distance_squared) {
    const float cos_camera = -dot(direction, pose.forward);
    const float cos_surface = dot(direction, point.geometric_normal);
    if (!(cos_camera > 0.0f && cos_surface > 0.0f)) return 0.0f;
    const float f = pose.image_distance;
    const float area = f * f / (distance_squared * cos_camera * cos_camera * cos_camera);
    const float cos_geometric = dot(point.geometric_normal, point.outgoing);
    const bool regular = cos_geometric >= kSmallestCosine;
    return cos_surface * area
           * (regular ? dot(point.normal, point.outgoing) / cos_geometric : 1.0f);
}

Vec3 glossy_lobe(const SurfacePoint& point, const Vec3& direction) {
    if (!has_facets(point))
        return splat(kGlossyScale * ward_lobe(point.outgoing, direction, point));
    const FacetLobe lobe = evaluate_facets(point, direction);
    const float cosine = std::max(dot(direction, point.normal), kSmallestCosine);
    return (kPi * lobe.density / cosine) * lobe.share;
}

} // namespace

void StartSplats() {
    ReleaseSums(IntegrateState.splats);
    Camera* camera = ActiveCamera();
    if (camera == nullptr) return;
    for (Aov& aov : camera->aovs)
        if (is_light_path(aov)) std::fill(aov.image.floats.begin(), aov.image.floats.end(), 0.0f);
    if (camera->projection != Projection::pinhole) return;
    if (std::none_of(camera->aovs.begin(), camera->aovs.end(), is_light_path)) return;
    ResizeSums(IntegrateState.splats, pixel_count(*camera));
}

bool splats_wanted() {
    return !IntegrateState.splats.values.empty();
}

void splat_glossy(const Ray& photon, const SurfacePoint& point, const Vec3& power) {
    if (!splats_wanted()) return;
    const Camera& camera = *ActiveCamera();
    const CameraPose& pose = camera.poses[0];
    std::size_t pixel = 0;
    if (!project(camera, point.position, pixel)) return;
    const Vec3 to_camera = pose.position - point.position;
    const Vec3 direction = normalize(to_camera);
    const float weight = camera_weight(pose, point, direction, dot(to_camera, to_camera));
    if (!(weight > 0.0f)) return;
    Ray shadow = shadow_ray(photon, point.position, direction, length(to_camera));
    shadow_query(shadow);
    if (!any_above(shadow.weight, kNothing)) return;
    const Vec3 lobe = glossy_lobe(point, direction);
    add_to_sum(IntegrateState.splats, pixel, lobe * weight * shadow.weight * power);
}

void FinishSplats() {
    if (!splats_wanted()) return;
    for (Aov& aov : ActiveCamera()->aovs) {
        if (!is_light_path(aov) || 3 * pixel_count(*ActiveCamera()) != aov.image.floats.size())
            continue;
        for (std::size_t i = 0; i < pixel_count(*ActiveCamera()); ++i)
            write_pixel(aov.image, static_cast<std::int64_t>(i), sum_at(IntegrateState.splats, i));
    }
    ReleaseSums(IntegrateState.splats);
}

} // namespace mh
