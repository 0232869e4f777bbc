// Keys of the blocks "render" and "camera", and of their sub-blocks.
// SPDX-License-Identifier: MIT
#include "math/at.h"
#include "output/aov.h"
#include "output/image_writer.h"
#include "output/state.h"
#include "run/state.h"
#include "scene/blocks.h"
#include "shading/state.h"

#include <array>
#include <iterator>

namespace mh {

namespace {

float& display_gamma(RendererSettingsRecord&) {
    return DisplayGamma;
}

void add_image_path(RendererSettingsRecord&, const std::string& path) {
    ImageSearchPaths.push_back(path);
}

RendererSettingsRecord& same_settings(RendererSettingsRecord& settings) {
    return settings;
}

bool is_seed(const Values& values) {
    return values.wholes[0] >= 0;
}

bool is_estimator(const Values& values) {
    return values.text == "classic" || values.text == "exact";
}

void set_estimator(RendererSettingsRecord& settings, const std::string& text) {
    settings.estimator = text == "exact" ? Estimator::exact : Estimator::classic;
}

void set_projection(Camera& camera, const std::string& text) {
    if (text == "perspective" || text == "pinhole") camera.projection = Projection::pinhole;
    if (text == "spherical" || text == "panorama") camera.projection = Projection::spherical;
}

// A third pose is not read: its keys mean nothing to the camera, and its "end" ends the camera.
CameraPose* next_pose(Camera& camera) {
    if (camera.pose_count >= static_cast<std::int32_t>(camera.poses.size())) return nullptr;
    return &at(camera.poses, camera.pose_count++);
}

Aov* next_aov(Camera& camera) {
    return &at(camera.aovs, AddAov(camera.aovs));
}

std::string& image_path(Aov& aov) {
    return aov.image.path;
}

struct ChannelWord {
    const char* name;
    Channel channel;
};

constexpr ChannelWord kChannelNames[] = {
    {"lambertian", Channel::lambertian},
    {"transmissive", Channel::transmissive},
    {"glossy", Channel::glossy},
    {"specular", Channel::specular},
    {"lambertian_color", Channel::lambertian_color},
    {"transmissive_color", Channel::transmissive_color},
    {"glossy_color", Channel::glossy_color},
    {"specular_color", Channel::specular_color},
    {"emissive", Channel::emissive},
    {"position", Channel::position},
    {"normal", Channel::normal},
    {"tangent", Channel::tangent},
    {"depth", Channel::depth},
    {"light_path", Channel::light_path},
    {"noise", Channel::noise},
    {"feature_albedo", Channel::feature_albedo},
    {"feature_normal", Channel::feature_normal},
    {"feature_depth", Channel::feature_depth},
    {"all_light", Channel::all_light},
};

// Known names add their bit; any other is the name of a per-vertex array.
void add_channel(Aov& aov, const std::string& text) {
    for (const ChannelWord& entry : kChannelNames) {
        if (text != entry.name) continue;
        aov.channel |= static_cast<std::uint32_t>(entry.channel);
        return;
    }
    aov.channel = static_cast<std::uint32_t>(Channel::primvar);
    aov.user_data = text;
}

constexpr auto kChannelWords = [] {
    std::array<const char*, std::size(kChannelNames)> words = {};
    for (std::size_t i = 0; i < words.size(); ++i)
        words[i] = kChannelNames[i].name;
    return words;
}();

void set_exr(RendererSettingsRecord&, const std::string& text) {
    if (text == "half" || text == "float") ImageWriting.exr_floats = text == "float";
}

constexpr const char* kExrWidths[] = {"half", "float"};
constexpr const char* kEstimators[] = {"classic", "exact"};
constexpr const char* kProjections[] = {"perspective", "pinhole", "spherical", "panorama"};

using Settings = RendererSettingsRecord;
using SettingsKeys = KeysOf<Settings>;
using CameraKeys = KeysOf<Camera>;
using PoseKeys = KeysOf<CameraPose>;
using AovKeys = KeysOf<Aov>;

constexpr Key kFinalGatherKeys[] = {
    within(SettingsKeys::value<&Settings::ray_depth>("ray_depth"), between(1, 255)),
    within(SettingsKeys::value<&Settings::photon_depth>("photon_depth"), between(1, 254)),
    within(SettingsKeys::value<&Settings::sample>("sample"), at_least(1)),
    within(SettingsKeys::value<&Settings::bounce>("bounce"), at_least(1)),
    within(SettingsKeys::value<&Settings::distance>("distance"), at_least(0)),
    within(SettingsKeys::value<&Settings::resolution>("resolution"), at_least(0)),
    within(SettingsKeys::value<&Settings::radius>("radius"), above(0)),
};
constexpr Block kFinalGatherBlock = {"final_gather", kFinalGatherKeys};

constexpr Key kRenderKeys[] = {
    within(SettingsKeys::value<&Settings::clamp>("clamp"), above(0)),
    stored(within(SettingsKeys::value<display_gamma>("gamma"), above(0))),
    stored(SettingsKeys::value<&Settings::exposure>("exposure")),
    strict(one_of(SettingsKeys::text<set_estimator>("estimator"), kEstimators),
           "\"classic\" or \"exact\"", is_estimator),
    strict(SettingsKeys::value<&Settings::seed>("seed"),
           "a whole number from 0 to 9223372036854775807", is_seed),
    within(SettingsKeys::value<&Settings::noise>("noise"), at_least(0)),
    SettingsKeys::flag<&Settings::adaptive>("adaptive"),
    SettingsKeys::sub_block<same_settings>("final_gather", kFinalGatherBlock),
    with(SettingsKeys::text<add_image_path>("image_path"), Role::image_folder),
    one_of(SettingsKeys::text<set_exr>("exr"), kExrWidths),
};

constexpr Key kPoseKeys[] = {
    PoseKeys::value<&CameraPose::position>("position"),
    PoseKeys::value<&CameraPose::target>("target"),
    within(PoseKeys::value<&CameraPose::up_vector>("up_vector"), kDirection),
    stored(PoseKeys::value<&CameraPose::bokeh>("bokeh")),
    within(PoseKeys::value<&CameraPose::field_of_view>("field_of_view"), inside(0, 180)),
};
constexpr Block kPoseBlock = {"pose", kPoseKeys};

constexpr Key kAovKeys[] = {
    with(AovKeys::value<image_path>("image"), Role::output_file),
    with(AovKeys::value<&Aov::shader_name>("shader"), Role::shader_name),
    with(one_of(AovKeys::text<add_channel>("type"), kChannelWords), Role::channel),
};

constexpr Key kCameraKeys[] = {
    CameraKeys::value<&Camera::name>("name"),
    within(CameraKeys::value<&Camera::width, &Camera::height>("resolution"), at_least(1)),
    CameraKeys::value<&Camera::region_x0, &Camera::region_y0, &Camera::region_x1,
                      &Camera::region_y1>("region"),
    within(CameraKeys::value<&Camera::sample>("sample"), between(1, 65535)),
    within(CameraKeys::value<&Camera::ior>("ior"), at_least(1)),
    stored(CameraKeys::value<&Camera::exposure>("exposure")),
    one_of(CameraKeys::text<set_projection>("projection"), kProjections),
    CameraKeys::sub_block<next_pose>("pose", kPoseBlock),
    CameraKeys::sub_block<next_aov>("aov", kAovBlock),
};

} // namespace

std::string ChannelName(const Aov& aov) {
    for (const ChannelWord& entry : kChannelNames)
        if (holds(aov, entry.channel)) return entry.name;
    return holds(aov, Channel::primvar) ? aov.user_data : "";
}

std::vector<std::string> ChannelNames(bool of_first_hits) {
    std::vector<std::string> names;
    for (const auto& [name, channel] : kChannelNames) {
        const bool is_of_first_hits = channel < Channel::primvar && channel != Channel::light_path;
        if (channel != Channel::all_light && (is_of_first_hits || !of_first_hits))
            names.emplace_back(name);
    }
    return names;
}

Aov AovOfType(const std::string& name) {
    Aov aov;
    add_channel(aov, name);
    return aov;
}

constexpr Block kRenderBlock = {"render", kRenderKeys};
constexpr Block kAovBlock = {"aov", kAovKeys};
constexpr Block kCameraBlock = {"camera", kCameraKeys};

} // namespace mh
