// Keys of the four light blocks, and of the sub-blocks "link" and "volume_shader".
// SPDX-License-Identifier: MIT
#include "lights/types.h"
#include "output/aov.h"
#include "scene/blocks.h"

namespace mh {

namespace {

template<typename Owner>
Aov* next_aov(Owner& owner) {
    return &owner.aov_list[static_cast<std::size_t>(AddAov(owner.aov_list))];
}

void add_name(LightLink& link, const std::string& name) {
    link.names.push_back(name);
}

std::string& sky_image(SkyLightRecord& sky) {
    return sky.image.path;
}

std::string& sky_backdrop(SkyLightRecord& sky) {
    return sky.backdrop.path;
}

using PointKeys = KeysOf<PointLight>;
using ParallelKeys = KeysOf<ParallelLight>;
using SkyKeys = KeysOf<SkyLightRecord>;
using EmitterKeys = KeysOf<GeometryLightRecord>;
using MediumKeys = KeysOf<Medium>;

constexpr Key kLinkKeys[] = {
    with(KeysOf<LightLink>::text<add_name>("shader"), Role::shader_name),
};

constexpr Key kPointLightKeys[] = {
    PointKeys::value<&PointLight::color>("color"),
    PointKeys::value<&PointLight::position>("position"),
    PointKeys::value<&PointLight::blur>("blur"),
    PointKeys::value<&PointLight::sample>("sample"),
    PointKeys::value<&PointLight::photons>("photon"),
    PointKeys::value<&PointLight::direction>("direction"),
    PointKeys::value<&PointLight::inner_angle>("inner_angle"),
    PointKeys::value<&PointLight::outer_angle>("outer_angle"),
    PointKeys::value<&PointLight::offset>("offset"),
    PointKeys::value<&PointLight::ior>("ior"),
    PointKeys::sub_block<next_aov<PointLight>>("aov", kAovBlock),
    PointKeys::sub_block<&PointLight::link>("link", kLinkBlock),
};

constexpr Key kParallelLightKeys[] = {
    ParallelKeys::value<&ParallelLight::color>("color"),
    ParallelKeys::value<&ParallelLight::blur>("blur"),
    ParallelKeys::value<&ParallelLight::sample>("sample"),
    ParallelKeys::value<&ParallelLight::photons>("photon"),
    ParallelKeys::value<&ParallelLight::axis>("direction"),
    ParallelKeys::value<&ParallelLight::ior>("ior"),
    ParallelKeys::value<&ParallelLight::offset>("offset"),
    ParallelKeys::sub_block<next_aov<ParallelLight>>("aov", kAovBlock),
    ParallelKeys::sub_block<&ParallelLight::link>("link", kLinkBlock),
};

constexpr Key kSkyLightKeys[] = {
    with(SkyKeys::value<sky_image>("image"), Role::image_file),
    with(SkyKeys::value<sky_backdrop>("backdrop"), Role::image_file),
    SkyKeys::value<&SkyLightRecord::color>("color"),
    SkyKeys::value<&SkyLightRecord::photons>("photon"),
    SkyKeys::value<&SkyLightRecord::north>("north"),
    SkyKeys::value<&SkyLightRecord::zenith>("zenith"),
    SkyKeys::sub_block<&SkyLightRecord::medium>("volume_shader", kVolumeShaderBlock),
    SkyKeys::value<&SkyLightRecord::sample>("sample"),
    SkyKeys::value<&SkyLightRecord::thickness>("thickness"),
    SkyKeys::value<&SkyLightRecord::turbidity>("turbidity"),
    SkyKeys::value<&SkyLightRecord::stretch>("stretch"),
    SkyKeys::value<&SkyLightRecord::albedo>("albedo"),
    SkyKeys::value<&SkyLightRecord::ior>("ior"),
    SkyKeys::sub_block<next_aov<SkyLightRecord>>("aov", kAovBlock),
    SkyKeys::sub_block<&SkyLightRecord::link>("link", kLinkBlock),
};

constexpr Key kGeometryLightKeys[] = {
    EmitterKeys::value<&GeometryLightRecord::photons>("photon"),
    EmitterKeys::value<&GeometryLightRecord::sample>("sample"),
    EmitterKeys::sub_block<next_aov<GeometryLightRecord>>("aov", kAovBlock),
    EmitterKeys::sub_block<&GeometryLightRecord::link>("link", kLinkBlock),
};

constexpr Key kVolumeShaderKeys[] = {
    MediumKeys::value<&Medium::transmittance>("transmittance"),
    MediumKeys::value<&Medium::average_cosine>("average_cosine"),
    MediumKeys::value<&Medium::albedo>("albedo"),
    MediumKeys::natural<&Medium::medium_id>("medium_id"),
};

} // namespace

constexpr Block kLinkBlock = {"link", kLinkKeys};
constexpr Block kPointLightBlock = {"point_light", kPointLightKeys};
constexpr Block kParallelLightBlock = {"parallel_light", kParallelLightKeys};
constexpr Block kSkyLightBlock = {"sky_light", kSkyLightKeys};
constexpr Block kGeometryLightBlock = {"geometry_light", kGeometryLightKeys};
constexpr Block kVolumeShaderBlock = {"volume_shader", kVolumeShaderKeys};

} // namespace mh
