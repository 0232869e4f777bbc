// Limits of what inputs of a fuzzer and calls at random may ask for.
// SPDX-License-Identifier: MIT
#include "support/small_scene.h"

#include "geometry/state.h"
#include "lights/state.h"
#include "math/box.h"
#include "output/state.h"
#include "run/state.h"
#include "shading/state.h"

#include <algorithm>
#include <type_traits>

namespace mh::test {
namespace {

template<typename Number>
void limit(Number& value, std::type_identity_t<Number> highest) {
    value = std::min(value, highest);
}

void limit_light(auto& light) {
    limit(light.photons, 50);
    limit(light.sample, 4);
}

// Many cells need more memory than a run may take, which ends the process.
void limit_density() {
    constexpr float kCells = 100.0f; // on a face as large as the scene
    Aabb box;
    for (const Object& object : Objects)
        for (const Part& part : object.parts)
            for (const Vec3& position : part.positions)
                merge(box, position);
    float& resolution = RendererSettings.resolution;
    if (resolution > 0.0f) resolution = std::max(resolution, half_area(box) / kCells);
}

} // namespace

void KeepSmall() {
    for (PointLight& light : PointLights)
        limit_light(light);
    for (ParallelLight& light : ParallelLights)
        limit_light(light);
    limit_light(SkyLight);
    limit_light(GeometryLight);
    for (Camera& camera : Cameras) {
        limit(camera.width, 6);
        limit(camera.height, 5);
        limit(camera.sample, 2);
    }
    limit(RendererSettings.sample, 4);
    limit(RendererSettings.ray_depth, 4);
    limit(RendererSettings.photon_depth, 4);
    limit(RendererSettings.bounce, 2);
    for (Shader& shader : Shaders)
        for (ShaderElement& layer : shader.displacement.vectors)
            limit(layer.level, 2);
    limit_density();
}

} // namespace mh::test
