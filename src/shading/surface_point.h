// The surface point that a hit expands into: shading frame, roughness, Fresnel terms and the
// colours of the layers. It lives on the stack of the function that shades the hit.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/vec3.h"
#include "shading/types.h"

namespace mh {

// How many rays the exact estimator sends from a hit in this frame; the weights of light samples
// against bounces follow from them.
struct SentRays {
    std::int32_t bounces = 1; // of each layer; 0 where paths end
    std::int32_t lamps = 1, sky = 1;
};

struct SurfacePoint {
    // Written by the builder of the primitive's kind.
    Vec3 tangent, bitangent, normal; // shading frame; normal faces the viewer on the front side
    Vec3 geometric_normal;
    Vec3 position;
    Vec3 outgoing; // towards the viewer
    Vec2 uv;
    float rounding = 0.0f; // how far the position may lie off the surface; exact estimator
    float roughness_u = 1e-6f, roughness_v = 1e-6f; // along tangent and bitangent

    // Written by the evaluation of the layers.
    Vec3 lambertian_color, transmissive_color, glossy_color, specular_color, diffusion_color;
    float reflectance = 0.0f;   // Fresnel
    float transmittance = 1.0f; // 1 - reflectance: share of emission and diffuse layers
    float eta = 1.0f;           // 1 / ior on the front, ior on the back
    float cos_outgoing = 0.0f;  // outgoing . normal
    float hair_width = 0.0f;    // radius of the hair at the hit, scene units
    Vec3 f0;                    // of facets: reflectance along the normal; black: by the index
    float facet_ior = 1.0f;     // of facets: index behind them over that before them
    const CompiledLayer* layer = nullptr;
    SentRays rays;            // exact estimator
    bool use_density = false; // a gather path ends here and reads the density estimate
    Material refraction_kind = Material::opaque;
    Microfacet microfacet = Microfacet::ward;
    DiffuseModel diffuse_model = DiffuseModel::lambert;
    bool lambertian_active = false; // the colour exceeds 1/1024 in some channel
    bool transmissive_active = false;
    bool glossy_active = false;
    bool specular_active = false;
    bool normal_replaced = false; // the normal depends on where the viewer is
    bool diffusion_active = false;
};

} // namespace mh
