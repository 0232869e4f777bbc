// Rules on cameras, their images, and the settings of the render.
// SPDX-License-Identifier: MIT
#include "check/block_rules.h"
#include "output/state.h"
#include "overrides.h"
#include "run/types.h"

#include <bit>

namespace mh {

namespace {

bool no_pixel(const ClosedBlock& closed) {
    return !has_pixels(record_of<Camera>(closed));
}

bool region_outside(const ClosedBlock& closed) {
    const auto& camera = record_of<Camera>(closed);
    return gives(closed, "region") && has_pixels(camera)
           && (camera.region_x0 < 0 || camera.region_y0 < 0 || camera.region_x1 > camera.width
               || camera.region_y1 > camera.height);
}

bool not_the_first(const ClosedBlock&) {
    return !Cameras.empty(); // a camera joins the table once it is read
}

bool looks_nowhere(const ClosedBlock& closed) {
    const auto& pose = record_of<CameraPose>(closed);
    return pose.target == pose.position;
}

bool up_along_view(const ClosedBlock& closed) {
    const auto& pose = record_of<CameraPose>(closed);
    return are_parallel(pose.target - pose.position, pose.up_vector);
}

bool names_no_image(const ClosedBlock& closed) {
    return !gives(closed, "image");
}

std::uint32_t channels_of(const ClosedBlock& closed) {
    return record_of<Aov>(closed).channel & ~static_cast<std::uint32_t>(Channel::beauty);
}

bool has_no_type(const ClosedBlock& closed) {
    return channels_of(closed) == 0 && !stands_in(closed, "sky_light");
}

bool has_two_types(const ClosedBlock& closed) {
    return std::popcount(channels_of(closed)) > 1;
}

bool no_type_of_light(const ClosedBlock& closed) {
    const auto& aov = record_of<Aov>(closed);
    if (stands_in(closed, "camera") || stands_in(closed, "sky_light") || channels_of(closed) == 0)
        return false;
    return !holds(aov, Channel::lambertian) && !holds(aov, Channel::transmissive)
           && !holds(aov, Channel::glossy)
           && !(holds(aov, Channel::specular) && stands_in(closed, "geometry_light"));
}

bool filter_without_use(const ClosedBlock& closed) {
    return gives(closed, "shader") && !stands_in(closed, "geometry_light");
}

bool clips_lengths(const ClosedBlock& closed) {
    const auto& aov = record_of<Aov>(closed);
    if (holds(aov, Channel::depth)) return !ends_with(aov.image.path, {".hdr", ".exr", ".pfm"});
    return holds(aov, Channel::position) && !ends_with(aov.image.path, {".exr", ".pfm"});
}

bool bounces_beyond_depth(const ClosedBlock& closed) {
    const auto& settings = record_of<RendererSettingsRecord>(closed);
    return settings.bounce > settings.ray_depth;
}

constexpr BlockRule kRules[] = {
    {"camera", "region", Severity::fault, When::always, no_pixel, kNoPixel},
    {"camera", "region", Severity::warning, When::always, region_outside,
     "the region reaches beyond the picture and is cut"},
    {"camera", nullptr, Severity::note, When::always, not_the_first,
     "only the first camera is rendered; \"--camera\" chooses another"},
    {"pose", "target", Severity::fault, When::always, looks_nowhere,
     "the target is where the camera stands: there is no direction of view"},
    {"pose", "up_vector", Severity::fault, When::always, up_along_view,
     "the up vector is parallel to the view: the picture has no up direction"},
    {"aov", nullptr, Severity::fault, When::always, names_no_image,
     "\"aov\" without \"image\": it is not written"},
    {"aov", nullptr, Severity::warning, When::always, has_no_type,
     "\"aov\" without \"type\": it stays black"},
    {"aov", "type", Severity::warning, When::always, has_two_types,
     "an \"aov\" has one type: with two it stays black"},
    {"aov", "type", Severity::warning, When::always, no_type_of_light,
     "no light fills this type: it stays black"},
    {"aov", "shader", Severity::warning, When::always, filter_without_use,
     "\"shader\" has an effect only in an \"aov\" of the geometry light"},
    {"aov", "image", Severity::warning, When::always, clips_lengths,
     "this format does not hold such values: .exr and .pfm do"},
    {"final_gather", "bounce", Severity::warning, When::always, bounces_beyond_depth,
     "\"bounce\" is larger than \"ray_depth\", which ends the paths before"},
};

} // namespace

const std::span<const BlockRule> kCameraRules = kRules;

} // namespace mh
