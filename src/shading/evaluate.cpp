// Textured slots of a layer. Called per hit.
// SPDX-License-Identifier: MIT
#include "shading/evaluate.h"

#include "math/at.h"
#include "shading/images.h"
#include "shading/state.h"

namespace mh {

namespace {

Vec3 look_up(const ShaderElement& element, const SurfacePoint& point) {
    const Image& image = at(Textures, element.image_index);
    return sample_texture(image, point.uv, element);
}

} // namespace

Vec3 evaluate_element(const ShaderElement& element, const SurfacePoint& point) {
    if (element.image_index < 0) return element.color;
    return element.color * look_up(element, point);
}

Vec3 evaluate_normal_element(const ShaderElement& element, const SurfacePoint& point) {
    if (element.image_index < 0) return element.color;
    constexpr float kZeroLevel = 0.5f; // texels of a normal map are (n + 1) / 2
    return element.color * (look_up(element, point) - splat(kZeroLevel));
}

} // namespace mh
