// Values of a layer's slots at a surface point.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/at.h"
#include "math/constants.h"
#include "shading/surface_point.h"

namespace mh {

inline const ShaderElement& element_of(const SurfaceLayer& layer, Element element) {
    return at(layer.elements, element);
}

inline ShaderElement& element_of(SurfaceLayer& layer, Element element) {
    return at(layer.elements, element);
}

// A slot of a layer that has images.
inline const ShaderElement& element_of(const CompiledLayer& layer, Element element) {
    return at(layer.elements, element);
}

inline bool is_textured(const CompiledLayer& layer, Element element) {
    return (layer.textured >> static_cast<unsigned>(element) & 1u) != 0;
}

// The slot's colour, times its texture at the point's uv when it has one.
Vec3 evaluate_element(const ShaderElement& element, const SurfacePoint& point);

// The same with 0.5 subtracted from the texture's channels before the product.
Vec3 evaluate_normal_element(const ShaderElement& element, const SurfacePoint& point);

// evaluate_element of one of the slots lambertian to diffusion.
inline Vec3 evaluate_color(const CompiledLayer& layer, Element element, const SurfacePoint& point) {
    if (is_textured(layer, element)) return evaluate_element(element_of(layer, element), point);
    return at(layer.colors, element);
}

// Mean of the channels of evaluate_element, of one of the slots weight to ior.
inline float evaluate_level(const CompiledLayer& layer, Element element,
                            const SurfacePoint& point) {
    if (is_textured(layer, element))
        return mean(evaluate_element(element_of(layer, element), point));
    return layer.levels[to_size(element) - kFirstLevel];
}

// evaluate_color into out; whether a channel exceeds 1/1024.
inline bool evaluate_layer(const CompiledLayer& layer, Element element, const SurfacePoint& point,
                           Vec3& out) {
    out = evaluate_color(layer, element, point);
    return any_above(out, kNothing);
}

} // namespace mh
