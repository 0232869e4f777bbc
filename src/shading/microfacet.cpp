// Lobes of GGX facets, of Burley, of Oren and Nayar, and of cloth. Called per light sample and
// bounce by all threads; pure functions of their arguments.
// SPDX-License-Identifier: MIT
#include "shading/microfacet.h"

#include "math/constants.h"
#include "math/frame.h"
#include "math/roots.h"
#include "shading/fresnel.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace mh {

namespace {

// Narrower lobes are lost in the rounding of half vectors.
constexpr float kNarrowest = 1e-4f;

// The frame of the facets, and their widths along its axes.
struct FacetFrame {
    Vec3 tangent, bitangent, normal;
    float width_u, width_v;
};

FacetFrame frame_of(const SurfacePoint& point) {
    return {point.tangent, point.bitangent, point.normal, std::max(point.roughness_u, kNarrowest),
            std::max(point.roughness_v, kNarrowest)};
}

Vec3 local(const FacetFrame& frame, const Vec3& v) {
    return {dot(v, frame.tangent), dot(v, frame.bitangent), dot(v, frame.normal)};
}

// v.z (1 + 2 Lambda), with Smith's Lambda of [Heitz14] eq. 72: the root of
// v.z^2 + (au v.x)^2 + (av v.y)^2.
float masked_cosine(const FacetFrame& frame, const Vec3& v) {
    const float x = frame.width_u * v.x, y = frame.width_v * v.y;
    return std::sqrt(x * x + y * y + v.z * v.z);
}

// [Walter07] eq. 33, by slopes: 1 / (pi au av (hx^2 / au^2 + hy^2 / av^2 + hz^2)^2).
float normals_density(const FacetFrame& frame, const Vec3& h) {
    const float x = h.x / frame.width_u, y = h.y / frame.width_v;
    const float slopes = x * x + y * y + h.z * h.z;
    return 1.0f / (kPi * frame.width_u * frame.width_v * slopes * slopes);
}

// G2 / G1(o): G1(i) where masking is separable, (1 + Lambda(o)) / (1 + Lambda(o) + Lambda(i)) where
// it knows of the facets' heights [Heitz14] eq. 99.
float unmasked(const SurfacePoint& point, const FacetFrame& frame, const Vec3& o, const Vec3& i) {
    const float cos_i = std::fabs(i.z), wide_i = masked_cosine(frame, i);
    if (!(cos_i > 0.0f)) return 0.0f;
    if (point.microfacet == Microfacet::ggx_separable || i.z < 0.0f)
        return 2.0f * cos_i / (cos_i + wide_i);
    const float cos_o = std::max(o.z, kSmallestSquare), wide_o = masked_cosine(frame, o);
    return cos_i * (cos_o + wide_o) / (cos_i * wide_o + cos_o * wide_i);
}

// How far the reflectance has risen from that along the normal, 0, to all light, 1. Indices that
// tell nothing of the way there take that of [Schlick94].
float rise(float ior, float cosine) {
    constexpr float kLeast = 1e-6f, kMost = 0.99f; // of the reflectance along the normal
    const float f0 = normal_reflectance(ior);
    if (f0 < kLeast || f0 > kMost) return schlick(0.0f, cosine);
    return std::max((dielectric_reflectance(ior, cosine) - f0) / (1.0f - f0), 0.0f);
}

float to_the_fifth(float x) {
    const float x2 = x * x;
    return x2 * x2 * x;
}

// [Burley12], with cos^2 of half the angle between the directions. The slot holds the square of
// its roughness r: RR = 2 r cos^2.
float burley_share(const SurfacePoint& point, float cos_o, float cos_i, float cosine) {
    const float r = std::sqrt(std::sqrt(point.roughness_u * point.roughness_v));
    const float fo = to_the_fifth(1.0f - cos_o), fi = to_the_fifth(1.0f - cos_i);
    const float back = r * (1.0f + cosine);
    return (1.0f - 0.5f * fo) * (1.0f - 0.5f * fi) + back * (fo + fi + fo * fi * (back - 1.0f));
}

// [OrenNayar94] in the form of [Fujii12], with the slot as sigma.
float oren_nayar_share(const SurfacePoint& point, float cos_o, float cos_i, float cosine) {
    const float sigma = std::min(std::sqrt(point.roughness_u * point.roughness_v), 1.0f);
    const float scale = 1.0f / (1.0f + (0.5f - 2.0f / (3.0f * kPi)) * sigma);
    const float s = cosine - cos_o * cos_i;
    const float t = s > 0.0f ? s / std::max({cos_o, cos_i, kSmallestSquare}) : s;
    return scale * (1.0f + sigma * t);
}

// Sheen of [Burley12], four times as bright as there, since a quarter of the hits take its layer.
float sheen_share(float cosine) {
    constexpr float kScale = 4.0f * kPi;
    const float half = std::sqrt(0.5f * (1.0f + cosine)); // cosine of half the angle
    return kScale * to_the_fifth(1.0f - half);
}

} // namespace

Vec3 facet_reflectance(const SurfacePoint& point, float cosine) {
    const float c = std::clamp(cosine, 0.0f, 1.0f);
    if (!any_above(point.f0, kNothing)) return splat(dielectric_reflectance(point.facet_ior, c));
    const float white = rise(point.facet_ior, c);
    return (1.0f - white) * point.f0 + splat(white);
}

FacetLobe evaluate_facets(const SurfacePoint& point, const Vec3& direction) {
    const FacetFrame frame = frame_of(point);
    const Vec3 o = local(frame, point.outgoing), i = local(frame, direction);
    if (!(o.z > 0.0f && i.z > 0.0f && dot(direction, point.geometric_normal) > 0.0f)) return {};
    const Vec3 h = unit_direction(o + i);
    FacetLobe lobe;
    // D G1(o) / (4 o.z), with G1(o) = 2 o.z / (o.z + wide).
    lobe.density = normals_density(frame, h) / (2.0f * (o.z + masked_cosine(frame, o)));
    lobe.share = unmasked(point, frame, o, i) * facet_reflectance(point, dot(o, h));
    return lobe;
}

// The facets are those of a hemisphere, stretched by the widths: a point on the half disc that the
// stretched direction sees, lifted onto the hemisphere, and its normal stretched back.
Vec3 sample_visible_facet(const SurfacePoint& point, float u, float v) {
    const FacetFrame frame = frame_of(point);
    const Vec3 o = local(frame, point.outgoing);
    const Vec3 seen = normalize({frame.width_u * o.x, frame.width_v * o.y, o.z});
    Vec3 first, second;
    tangent_frame(seen, first, second);
    const Vec3 up = {0.0f, 0.0f, 1.0f};
    const Vec3 sideways = cross(up, seen);
    if (dot(sideways, sideways) > kSmallestSquare) {
        first = normalize(sideways);
        second = cross(seen, first);
    }
    const float radius = std::sqrt(u), phi = kTwoPi * v;
    const float x = radius * std::cos(phi), far = std::sqrt(std::max(0.0f, 1.0f - x * x));
    const float s = 0.5f * (1.0f + seen.z);
    const float y = (1.0f - s) * far + s * radius * std::sin(phi);
    const float z = std::sqrt(std::max(0.0f, 1.0f - x * x - y * y));
    const Vec3 n = from_frame({x, y, z}, first, second, seen);
    const Vec3 facet =
        normalize({frame.width_u * n.x, frame.width_v * n.y, std::max(n.z, kSmallestSquare)});
    return from_frame(facet, frame.tangent, frame.bitangent, frame.normal);
}

float unmasked_share(const SurfacePoint& point, const Vec3& direction) {
    const FacetFrame frame = frame_of(point);
    return unmasked(point, frame, local(frame, point.outgoing), local(frame, direction));
}

float diffuse_share(const SurfacePoint& point, const Vec3& direction) {
    const float cos_o = std::clamp(dot(point.outgoing, point.normal), 0.0f, 1.0f);
    const float cos_i = std::clamp(dot(direction, point.normal), 0.0f, 1.0f);
    const float cosine = std::clamp(dot(direction, point.outgoing), -1.0f, 1.0f);
    switch (point.diffuse_model) {
    case DiffuseModel::lambert: return 1.0f;
    case DiffuseModel::burley: return burley_share(point, cos_o, cos_i, cosine);
    case DiffuseModel::oren_nayar: return oren_nayar_share(point, cos_o, cos_i, cosine);
    case DiffuseModel::sheen: return sheen_share(cosine);
    }
    std::abort();
}

} // namespace mh
