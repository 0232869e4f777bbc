// Expands a hit into a surface point: layer choice, shading frame, normal mapping, roughness and
// Fresnel terms.
// SPDX-License-Identifier: MIT
#pragma once

#include "hit/ray.h"
#include "run/estimator.h"

#include <cmath>

namespace mh {

// Fills everything of the point but the layer colours and their flags. point.use_density is read
// and decides which frame and which fast path apply. ray.hit_kind is a real primitive's. The
// instance matrices of the closest hit are read from ThreadStates[ray.thread].
void build_surface_point(const Ray& ray, SurfacePoint& point);

// Where a ray of the exact estimator has hit a face of the root object: a place off the surface, so
// that rays from there do not hit it again, and the geometric normal, both on the viewer's side.
struct FaceEnd {
    Vec3 position, normal;
};

FaceEnd end_on_face(const Ray& ray);

// The layer that one hit uses, as an index into shader.layers: by weight, from the list of the
// side, for u in [0, 1). The point needs its uv when a weight slot has an image.
int pick_layer(const Shader& shader, const SurfacePoint& point, bool front, float u);

// Exact estimator: starts the ray, whose direction is set, so far off the point's surface that
// rounding cannot let it hit the face that it leaves [Wachter19]. Hair and particles are not hit
// again.
inline void leave_surface(Ray& ray, const SurfacePoint& point) {
    if (!is_exact() || !is_face(ray.source_kind)) return;
    const float step = std::copysign(point.rounding, dot(ray.direction, point.geometric_normal));
    ray.origin = point.position + step * point.geometric_normal;
    ray.source_kind = HitKind::unset;
    ray.source_primitive = -1;
}

// Evaluates the layer colours and their *_active flags: glossy and specular always, lambertian,
// transmissive and diffusion unless the point reads the density estimate. Hair has no
// transmissive, specular or diffusion layer.
void evaluate_layers(const Ray& ray, SurfacePoint& point);

} // namespace mh
