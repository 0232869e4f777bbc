// Keys of the four light blocks, and of the sub-blocks "link" and "volume_shader".
// SPDX-License-Identifier: MIT
#include "lights/types.h"
#include "math/at.h"
#include "output/aov.h"
#include "scene/blocks.h"

namespace mh {

namespace {

template<typename Owner>
Aov* next_aov(Owner& owner) {
    return &at(owner.aov_list, AddAov(owner.aov_list));
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

struct FalloffWord {
    const char* name;
    Falloff falloff;
};

constexpr FalloffWord kFalloffs[] = {
    {"linear", Falloff::linear}, {"smooth", Falloff::smooth}, {"cosine", Falloff::cosine}};
constexpr const char* kFalloffWords[] = {kFalloffs[0].name, kFalloffs[1].name, kFalloffs[2].name};

void set_falloff(PointLight& light, const std::string& text) {
    for (const FalloffWord& entry : kFalloffs)
        if (text == entry.name) light.falloff = entry.falloff;
}

using PointKeys = KeysOf<PointLight>;
using ParallelKeys = KeysOf<ParallelLight>;
using SkyKeys = KeysOf<SkyLightRecord>;
using EmitterKeys = KeysOf<GeometryLightRecord>;
using MediumKeys = KeysOf<Medium>;

constexpr Range kWrap = {0, 0.999}; // of the lambertian term; at 1 it is black everywhere

constexpr Key kLinkKeys[] = {
    with(KeysOf<LightLink>::text<add_name>("shader"), Role::shader_name),
};

constexpr Key kPointLightKeys[] = {
    within(PointKeys::value<&PointLight::color>("color"), at_least(0)),
    PointKeys::value<&PointLight::position>("position"),
    within(PointKeys::value<&PointLight::blur>("blur"), at_least(0)),
    within(PointKeys::value<&PointLight::sample>("sample"), at_least(0)),
    within(PointKeys::value<&PointLight::photons>("photon"), at_least(0)),
    within(PointKeys::value<&PointLight::direction>("direction"), kDirection),
    within(PointKeys::value<&PointLight::inner_angle>("inner_angle"), at_least(0)),
    within(PointKeys::value<&PointLight::outer_angle>("outer_angle"), above(0)),
    one_of(PointKeys::text<set_falloff>("falloff"), kFalloffWords),
    within(PointKeys::value<&PointLight::offset>("offset"), kWrap),
    within(PointKeys::value<&PointLight::ior>("ior"), at_least(1)),
    PointKeys::sub_block<next_aov<PointLight>>("aov", kAovBlock),
    PointKeys::sub_block<&PointLight::link>("link", kLinkBlock),
};

constexpr Key kParallelLightKeys[] = {
    within(ParallelKeys::value<&ParallelLight::color>("color"), at_least(0)),
    within(ParallelKeys::value<&ParallelLight::blur>("blur"), between(0, 180)),
    within(ParallelKeys::value<&ParallelLight::sample>("sample"), at_least(0)),
    within(ParallelKeys::value<&ParallelLight::photons>("photon"), at_least(0)),
    within(ParallelKeys::value<&ParallelLight::axis>("direction"), kDirection),
    within(ParallelKeys::value<&ParallelLight::ior>("ior"), at_least(1)),
    within(ParallelKeys::value<&ParallelLight::offset>("offset"), kWrap),
    ParallelKeys::sub_block<next_aov<ParallelLight>>("aov", kAovBlock),
    ParallelKeys::sub_block<&ParallelLight::link>("link", kLinkBlock),
};

constexpr Key kSkyLightKeys[] = {
    with(SkyKeys::value<sky_image>("image"), Role::image_file),
    with(SkyKeys::value<sky_backdrop>("backdrop"), Role::image_file),
    within(SkyKeys::value<&SkyLightRecord::color>("color"), at_least(0)),
    within(SkyKeys::value<&SkyLightRecord::photons>("photon"), at_least(0)),
    within(SkyKeys::value<&SkyLightRecord::north>("north"), kDirection),
    within(SkyKeys::value<&SkyLightRecord::zenith>("zenith"), kDirection),
    within(SkyKeys::value<&SkyLightRecord::rotation_deg>("rotation"), between(-360, 360)),
    SkyKeys::sub_block<&SkyLightRecord::medium>("volume_shader", kVolumeShaderBlock),
    within(SkyKeys::value<&SkyLightRecord::sample>("sample"), at_least(0)),
    stored(SkyKeys::value<&SkyLightRecord::thickness>("thickness")),
    stored(SkyKeys::value<&SkyLightRecord::turbidity>("turbidity")),
    stored(SkyKeys::value<&SkyLightRecord::stretch>("stretch")),
    stored(SkyKeys::value<&SkyLightRecord::albedo>("albedo")),
    within(SkyKeys::value<&SkyLightRecord::ior>("ior"), at_least(1)),
    SkyKeys::sub_block<next_aov<SkyLightRecord>>("aov", kAovBlock),
    SkyKeys::sub_block<&SkyLightRecord::link>("link", kLinkBlock),
};

constexpr Key kGeometryLightKeys[] = {
    within(EmitterKeys::value<&GeometryLightRecord::photons>("photon"), at_least(0)),
    within(EmitterKeys::value<&GeometryLightRecord::sample>("sample"), at_least(0)),
    EmitterKeys::sub_block<next_aov<GeometryLightRecord>>("aov", kAovBlock),
    EmitterKeys::sub_block<&GeometryLightRecord::link>("link", kLinkBlock),
};

constexpr Key kVolumeShaderKeys[] = {
    within(MediumKeys::value<&Medium::transmittance>("transmittance"), between(0, 1)),
    within(MediumKeys::value<&Medium::average_cosine>("average_cosine"), between(-1, 1)),
    within(MediumKeys::value<&Medium::albedo>("albedo"), between(0, 1)),
    stored(MediumKeys::natural<&Medium::medium_id>("medium_id")),
};

} // namespace

constexpr Block kLinkBlock = {"link", kLinkKeys};
constexpr Block kPointLightBlock = {"point_light", kPointLightKeys};
constexpr Block kParallelLightBlock = {"parallel_light", kParallelLightKeys};
constexpr Block kSkyLightBlock = {"sky_light", kSkyLightKeys};
constexpr Block kGeometryLightBlock = {"geometry_light", kGeometryLightKeys};
constexpr Block kVolumeShaderBlock = {"volume_shader", kVolumeShaderKeys};

} // namespace mh
