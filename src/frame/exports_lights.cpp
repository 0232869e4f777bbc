// Exported functions: the four kinds of light and their output images.
// SPDX-License-Identifier: MIT
#include "frame/host_calls.h"
#include "frame/moonhare.h"
#include "lights/gaffer.h"
#include "lights/state.h"
#include "shading/state.h"

namespace mh {

namespace {

PointLight* point_light(const char* call, int light) {
    return MayBuild(call, Phase::gaffer) ? RecordAt(call, PointLights, "point light", light)
                                         : nullptr;
}

ParallelLight* parallel_light(const char* call, int light) {
    return MayBuild(call, Phase::gaffer) ? RecordAt(call, ParallelLights, "parallel light", light)
                                         : nullptr;
}

SkyLightRecord* sky_light(const char* call) {
    return MayBuild(call, Phase::sky) ? &SkyLight : nullptr;
}

GeometryLightRecord* geometry_light(const char* call) {
    return MayBuild(call, Phase::geometry_light) ? &GeometryLight : nullptr;
}

template<typename Owner>
std::vector<Aov>* aovs_of(Owner* owner) {
    return owner == nullptr ? nullptr : &owner->aov_list;
}

template<typename Owner>
void link_shader(const char* call, Owner* owner, int shader) {
    if (owner != nullptr && IsRecord(call, "shader", shader, Shaders.size()))
        owner->link.shaders.push_back(shader);
}

} // namespace

extern "C" {

MH_API int mhAddPointLight(void) try {
    return MayBuild(__func__, Phase::gaffer) ? AddPointLight() : -1;
}
MH_CATCH(-1)

MH_API void mhSetPointLightColor(int light, float r, float g, float b) try {
    if (PointLight* record = point_light(__func__, light)) record->color = {r, g, b};
}
MH_CATCH()

MH_API void mhSetPointLightDirection(int light, float x, float y, float z) try {
    if (PointLight* record = point_light(__func__, light)) record->direction = {x, y, z};
}
MH_CATCH()

MH_API void mhSetPointLightPosition(int light, float x, float y, float z) try {
    if (PointLight* record = point_light(__func__, light)) record->position = {x, y, z};
}
MH_CATCH()

MH_API void mhSetPointLightBlur(int light, float radius) try {
    if (PointLight* record = point_light(__func__, light)) record->blur = radius;
}
MH_CATCH()

MH_API void mhSetPointLightOffset(int light, float offset) try {
    if (PointLight* record = point_light(__func__, light)) record->offset = offset;
}
MH_CATCH()

MH_API void mhSetPointLightInnerAngle(int light, float degrees) try {
    if (PointLight* record = point_light(__func__, light)) record->inner_angle = degrees;
}
MH_CATCH()

MH_API void mhSetPointLightOuterAngle(int light, float degrees) try {
    if (PointLight* record = point_light(__func__, light)) record->outer_angle = degrees;
}
MH_CATCH()

MH_API void mhSetPointLightSample(int light, int sample) try {
    if (PointLight* record = point_light(__func__, light)) record->sample = sample;
}
MH_CATCH()

MH_API void mhSetPointLightPhoton(int light, int photons) try {
    if (PointLight* record = point_light(__func__, light)) record->photons = photons;
}
MH_CATCH()

MH_API void mhSetPointLightShaderLink(int light, int shader) try {
    link_shader(__func__, point_light(__func__, light), shader);
}
MH_CATCH()

MH_API int mhAddPointLightAOV(int light) try {
    return AddHostAov(aovs_of(point_light(__func__, light)));
}
MH_CATCH(-1)

MH_API void mhSetPointLightAOVName(int light, int aov, const char* name) try {
    SetAovName(__func__, aovs_of(point_light(__func__, light)), aov, name);
}
MH_CATCH()

MH_API void mhSetPointLightAOVChannel(int light, int aov, mhChannel channel) try {
    AddAovChannel(__func__, aovs_of(point_light(__func__, light)), aov, channel);
}
MH_CATCH()

MH_API int mhAddParallelLight(void) try {
    return MayBuild(__func__, Phase::gaffer) ? AddParallelLight() : -1;
}
MH_CATCH(-1)

MH_API void mhSetParallelLightColor(int light, float r, float g, float b) try {
    if (ParallelLight* record = parallel_light(__func__, light)) record->color = {r, g, b};
}
MH_CATCH()

MH_API void mhSetParallelLightDirection(int light, float x, float y, float z) try {
    if (ParallelLight* record = parallel_light(__func__, light)) record->axis = {x, y, z};
}
MH_CATCH()

MH_API void mhSetParallelLightBlur(int light, float degrees) try {
    if (ParallelLight* record = parallel_light(__func__, light)) record->blur = degrees;
}
MH_CATCH()

MH_API void mhSetParallelLightOffset(int light, float offset) try {
    if (ParallelLight* record = parallel_light(__func__, light)) record->offset = offset;
}
MH_CATCH()

MH_API void mhSetParallelLightSample(int light, int sample) try {
    if (ParallelLight* record = parallel_light(__func__, light)) record->sample = sample;
}
MH_CATCH()

MH_API void mhSetParallelLightPhoton(int light, int photons) try {
    if (ParallelLight* record = parallel_light(__func__, light)) record->photons = photons;
}
MH_CATCH()

MH_API void mhSetParallelLightShaderLink(int light, int shader) try {
    link_shader(__func__, parallel_light(__func__, light), shader);
}
MH_CATCH()

MH_API int mhAddParallelLightAOV(int light) try {
    return AddHostAov(aovs_of(parallel_light(__func__, light)));
}
MH_CATCH(-1)

MH_API void mhSetParallelLightAOVName(int light, int aov, const char* name) try {
    SetAovName(__func__, aovs_of(parallel_light(__func__, light)), aov, name);
}
MH_CATCH()

MH_API void mhSetParallelLightAOVChannel(int light, int aov, mhChannel channel) try {
    AddAovChannel(__func__, aovs_of(parallel_light(__func__, light)), aov, channel);
}
MH_CATCH()

MH_API void mhSetSkyLightImage(const char* path) try {
    if (SkyLightRecord* sky = sky_light(__func__)) SetText(__func__, path, sky->image.path);
}
MH_CATCH()

MH_API void mhSetSkyLightBackdrop(const char* path) try {
    if (SkyLightRecord* sky = sky_light(__func__)) SetText(__func__, path, sky->backdrop.path);
}
MH_CATCH()

MH_API void mhSetSkyLightColor(float r, float g, float b) try {
    if (SkyLightRecord* sky = sky_light(__func__)) sky->color = {r, g, b};
}
MH_CATCH()

MH_API void mhSetSkyLightNorth(float x, float y, float z) try {
    if (SkyLightRecord* sky = sky_light(__func__)) sky->north = {x, y, z};
}
MH_CATCH()

MH_API void mhSetSkyLightZenith(float x, float y, float z) try {
    if (SkyLightRecord* sky = sky_light(__func__)) sky->zenith = {x, y, z};
}
MH_CATCH()

MH_API void mhSetSkyLightSample(int sample) try {
    if (SkyLightRecord* sky = sky_light(__func__)) sky->sample = sample;
}
MH_CATCH()

MH_API void mhSetSkyLightPhoton(int photons) try {
    if (SkyLightRecord* sky = sky_light(__func__)) sky->photons = photons;
}
MH_CATCH()

MH_API void mhSetSkyLightShaderLink(int shader) try {
    link_shader(__func__, sky_light(__func__), shader);
}
MH_CATCH()

MH_API int mhAddSkyLightAOV(void) try { return AddHostAov(aovs_of(sky_light(__func__))); }
MH_CATCH(-1)

MH_API void mhSetSkyLightAOVName(int aov, const char* name) try {
    SetAovName(__func__, aovs_of(sky_light(__func__)), aov, name);
}
MH_CATCH()

MH_API void mhSetSkyLightAOVChannel(int aov, mhChannel channel) try {
    AddAovChannel(__func__, aovs_of(sky_light(__func__)), aov, channel);
}
MH_CATCH()

MH_API void mhSetGeometryLightSample(int sample) try {
    if (GeometryLightRecord* record = geometry_light(__func__)) record->sample = sample;
}
MH_CATCH()

MH_API void mhSetGeometryLightPhoton(int photons) try {
    if (GeometryLightRecord* record = geometry_light(__func__)) record->photons = photons;
}
MH_CATCH()

MH_API void mhSetGeometryLightShaderLink(int shader) try {
    link_shader(__func__, geometry_light(__func__), shader);
}
MH_CATCH()

MH_API int mhAddGeometryLightAOV(void) try { return AddHostAov(aovs_of(geometry_light(__func__))); }
MH_CATCH(-1)

MH_API void mhSetGeometryLightAOVName(int aov, const char* name) try {
    SetAovName(__func__, aovs_of(geometry_light(__func__)), aov, name);
}
MH_CATCH()

MH_API void mhSetGeometryLightAOVChannel(int aov, mhChannel channel) try {
    AddAovChannel(__func__, aovs_of(geometry_light(__func__)), aov, channel);
}
MH_CATCH()

MH_API void mhSetGeometryLightAOVShaderName(int aov, const char* name) try {
    if (Aov* record = AovAt(__func__, aovs_of(geometry_light(__func__)), aov))
        SetText(__func__, name, record->shader_name);
}
MH_CATCH()

} // extern "C"

} // namespace mh
