// The tables of point and parallel lights: creation, set-up, the sum over all of them, the end.
// SPDX-License-Identifier: MIT
#include "lights/gaffer.h"

#include "accel/state.h"
#include "lights/analytic_light.h"
#include "lights/state.h"
#include "math/frame.h"
#include "math/roots.h"
#include "output/aov.h"
#include "run/estimator.h"
#include "run/report.h"

#include <cmath>

namespace mh {

namespace {

// A scattering medium fills all space: every light is then inside of the scene.
bool space_scatters() {
    return any_above(SkyLight.medium.albedo, kNothing);
}

// The cone of all directions in which a ray of the light may meet the sphere of this radius about
// the scene; classic's is narrower.
void aim_at_scene(PointLight& light, float radius, float distance) {
    SetCone(light, is_exact() ? std::asin(radius / distance) : std::atan2(radius, distance));
    light.axis = normalize(SceneCenter - light.position);
    tangent_frame(light.axis, light.tangent, light.bitangent);
}

// Powers are fluxes over pi, since a light's colour stands for an irradiance over pi.
void initialize_point(PointLight& light) {
    ResolveLink(light.link);
    light.direction = normalize(light.direction);
    light.inner_rad = light.inner_angle * kRadiansPerDegree;
    light.outer_rad = light.outer_angle * kRadiansPerDegree;
    light.inner_cos = std::cos(light.inner_rad);
    light.outer_cos = std::cos(light.outer_rad);
    const float distance = length(SceneCenter - light.position);
    const float reach = is_exact() ? SceneRadius + light.blur : SceneRadius;
    light.inside_scene = distance < reach || space_scatters();
    if (!light.inside_scene) aim_at_scene(light, reach, distance);
    const float covered = light.inside_scene ? 2.0f : light.one_minus_cos_blur;
    if (light.photons > 0) light.photon_power = kTwoPi * covered * light.color;
    AllocateAovs(light.aov_list);
}

void initialize_parallel(ParallelLight& light) {
    ResolveLink(light.link);
    light.axis = normalize(light.axis);
    tangent_frame(light.axis, light.tangent, light.bitangent);
    SetCone(light, light.blur * kRadiansPerDegree);
    if (light.photons > 0) light.photon_power = SceneRadius * SceneRadius * kPi * light.color;
    AllocateAovs(light.aov_list);
}

} // namespace

int AddPointLight() {
    PointLights.emplace_back();
    return static_cast<int>(PointLights.size()) - 1;
}

int AddParallelLight() {
    ParallelLights.emplace_back();
    return static_cast<int>(ParallelLights.size()) - 1;
}

void InitializeGaffer() {
    for (PointLight& light : PointLights)
        initialize_point(light);
    for (ParallelLight& light : ParallelLights)
        initialize_parallel(light);
    // Both lines print the memory of the parallel lights, and the second has four blanks, on
    // purpose: programs look for these texts.
    const double bytes = static_cast<double>(ParallelLights.size() * sizeof(ParallelLight));
    ReportCount("parallel lights", static_cast<std::int64_t>(ParallelLights.size()), bytes);
    ReportCount("point    lights", static_cast<std::int64_t>(PointLights.size()), bytes);
    ReportRule();
}

void FinalizeGaffer() {
    for (const PointLight& light : PointLights)
        WriteAovs(light.aov_list);
    for (const ParallelLight& light : ParallelLights)
        WriteAovs(light.aov_list);
    PointLights = {};
    ParallelLights = {};
}

LightSplit sum_analytic_lights(const Ray& ray, const SurfacePoint& point) {
    LightSplit sum;
    for (PointLight& light : PointLights)
        sum += direct_point(light, ray, point);
    for (ParallelLight& light : ParallelLights)
        sum += direct_parallel(light, ray, point);
    return sum;
}

} // namespace mh
