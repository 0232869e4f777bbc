// Values of a layer's slots at a surface point.
// SPDX-License-Identifier: MIT
#pragma once

#include "shading/surface_point.h"

namespace mh {

// The slot's colour, times its texture at the point's uv when it has one.
Vec3 evaluate_element(const ShaderElement& element, const SurfacePoint& point);

// The same with 0.5 subtracted from the texture's channels before the product.
Vec3 evaluate_normal_element(const ShaderElement& element, const SurfacePoint& point);

// evaluate_element into out; whether a channel exceeds 1/1024.
bool evaluate_layer(const ShaderElement& element, const SurfacePoint& point, Vec3& out);

inline const ShaderElement& element_of(const SurfaceLayer& layer, Element element) {
    return layer.elements[static_cast<std::size_t>(element)];
}

inline ShaderElement& element_of(SurfaceLayer& layer, Element element) {
    return layer.elements[static_cast<std::size_t>(element)];
}

} // namespace mh
