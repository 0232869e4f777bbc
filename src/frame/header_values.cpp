// Ties the enumerations of the interface to the library's: exported functions convert by value.
// SPDX-License-Identifier: MIT
#include "frame/moonhare.h"
#include "output/types.h"
#include "shading/types.h"

namespace mh {

namespace {

template<typename Kind>
constexpr bool same(std::uint32_t value, Kind kind) {
    return value == static_cast<std::uint32_t>(kind);
}

static_assert(same(mhProjectionPinhole, Projection::pinhole)
              && same(mhProjectionSpherical, Projection::spherical));

static_assert(same(mhAngleMeasureDegrees, AngleMeasure::degrees)
              && same(mhAngleMeasureRadians, AngleMeasure::radians));

static_assert(same(mhSidenessFace, Sideness::face) && same(mhSidenessBack, Sideness::back)
              && same(mhSidenessBoth, Sideness::both));

static_assert(same(mhMaterialOpaque, Material::opaque) && same(mhMaterialSolid, Material::solid)
              && same(mhMaterialThin, Material::thin));

static_assert(same(mhVisibilityHidden, Visibility::hidden)
              && same(mhVisibilityCameraOnly, Visibility::camera_only)
              && same(mhVisibilityLightOnly, Visibility::light_only)
              && same(mhVisibilityAll, Visibility::all));

static_assert(
    same(mhElementLambertian, Element::lambertian)
    && same(mhElementTransmissive, Element::transmissive) && same(mhElementGlossy, Element::glossy)
    && same(mhElementSpecular, Element::specular) && same(mhElementEmissive, Element::emissive)
    && same(mhElementDiffusion, Element::diffusion)
    && same(mhElementShadowTransparency, Element::shadow_transparency)
    && same(mhElementNormal, Element::normal) && same(mhElementWeight, Element::weight)
    && same(mhElementAnisotropy, Element::anisotropy)
    && same(mhElementRoughness, Element::roughness) && same(mhElementAngle, Element::angle)
    && same(mhElementIor, Element::ior) && same(mhElementReserved13, Element::reserved_13)
    && same(mhElementThickness, Element::thickness) && same(mhElementReserved15, Element::f0));

static_assert(same(mhChannelBeauty, Channel::beauty)
              && same(mhChannelLightPath, Channel::light_path)
              && same(mhChannelLambertian, Channel::lambertian)
              && same(mhChannelLambertianColor, Channel::lambertian_color)
              && same(mhChannelTransmissive, Channel::transmissive)
              && same(mhChannelTransmissiveColor, Channel::transmissive_color)
              && same(mhChannelGlossy, Channel::glossy)
              && same(mhChannelGlossyColor, Channel::glossy_color)
              && same(mhChannelSpecular, Channel::specular)
              && same(mhChannelSpecularColor, Channel::specular_color)
              && same(mhChannelEmissive, Channel::emissive)
              && same(mhChannelNormal, Channel::normal) && same(mhChannelTangent, Channel::tangent)
              && same(mhChannelPosition, Channel::position) && same(mhChannelDepth, Channel::depth)
              && same(mhChannelCustom, Channel::primvar) && same(mhChannelNoise, Channel::noise)
              && same(mhChannelFeatureAlbedo, Channel::feature_albedo)
              && same(mhChannelFeatureNormal, Channel::feature_normal)
              && same(mhChannelFeatureDepth, Channel::feature_depth)
              && same(mhChannelAllLight, Channel::all_light));

} // namespace

} // namespace mh
