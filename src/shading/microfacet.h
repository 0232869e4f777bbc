// Physically based lobes that a layer may ask for: reflection and refraction by facets with GGX's
// distribution of normals, and rough diffuse reflection. Directions point away from the surface.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/vec3.h"
#include "shading/surface_point.h"

namespace mh {

inline bool has_facets(const SurfacePoint& point) {
    return point.microfacet != Microfacet::ward;
}

// Burley's curve holds what the reflection takes: diffuse light and emission lose nothing more.
inline bool keeps_emission(const CompiledLayer& layer) {
    return layer.diffuse_model == DiffuseModel::burley && layer.material == Material::opaque;
}

// What facets send from one direction into another.
struct FacetLobe {
    float density = 0.0f; // of the bounces, 1/sr
    Vec3 share;           // of a bounce's light: reflectance times what other facets let pass
};

// Reflection alone. Both are 0 where a direction lies below the surface.
FacetLobe evaluate_facets(const SurfacePoint& point, const Vec3& direction);

// Normal of a facet that `outgoing` sees, for u and v in [0, 1) [Heitz18].
Vec3 sample_visible_facet(const SurfacePoint& point, float u, float v);

// Share of the light of such a facet that no other one catches on its way, on either side.
float unmasked_share(const SurfacePoint& point, const Vec3& direction);

// Reflectance of a facet that is met at the cosine: of the point's index for unpolarised light, or
// between the point's `f0` and white in the same proportion.
Vec3 facet_reflectance(const SurfacePoint& point, float cosine);

// Light that the diffuse lobe sends from `direction` to the viewer, as a share of a lambertian
// one's.
float diffuse_share(const SurfacePoint& point, const Vec3& direction);

} // namespace mh
