// Rules on lights.
// SPDX-License-Identifier: MIT
#include "check/block_rules.h"
#include "lights/types.h"

namespace mh {

namespace {

bool casts_no_photons(const ClosedBlock& closed) {
    return !gives(closed, "photon");
}

bool shines_upwards(const ClosedBlock& closed) {
    return !gives(closed, "direction") && !gives(closed, "inner_angle")
           && !gives(closed, "outer_angle");
}

bool cone_inside_out(const ClosedBlock& closed) {
    const auto& light = record_of<PointLight>(closed);
    return light.inner_angle > light.outer_angle;
}

template<typename AnalyticLight>
bool samples_without_area(const ClosedBlock& closed) {
    const auto& light = record_of<AnalyticLight>(closed);
    return light.sample > 1 && !(light.blur > 0.0f);
}

bool has_no_direction(const ClosedBlock& closed) {
    return !gives(closed, "direction");
}

bool sky_image_times_black(const ClosedBlock& closed) {
    const auto& sky = record_of<SkyLightRecord>(closed);
    return !sky.image.path.empty() && is_dark(sky.color);
}

// Rows of an .hdr file enter top first, of every other format bottom first.
bool stands_on_its_head(const ClosedBlock& closed) {
    const std::string& path = record_of<SkyLightRecord>(closed).image.path;
    return !path.empty() && !ends_with(path, {".hdr"});
}

bool north_along_zenith(const ClosedBlock& closed) {
    const auto& sky = record_of<SkyLightRecord>(closed);
    return are_parallel(sky.north, sky.zenith);
}

bool turns_plain_sky(const ClosedBlock& closed) {
    return gives(closed, "rotation") && record_of<SkyLightRecord>(closed).image.path.empty();
}

bool samples_plain_sky(const ClosedBlock& closed) {
    return gives(closed, "sample") && record_of<SkyLightRecord>(closed).image.path.empty();
}

bool links_nothing(const ClosedBlock& closed) {
    return record_of<LightLink>(closed).names.empty();
}

constexpr BlockRule kRules[] = {
    {"point_light", nullptr, Severity::warning, When::gathering, casts_no_photons,
     "\"point_light\" casts no photons, which gathering needs: set \"photon\""},
    {"parallel_light", nullptr, Severity::warning, When::gathering, casts_no_photons,
     "\"parallel_light\" casts no photons, which gathering needs: set \"photon\""},
    {"point_light", nullptr, Severity::note, When::always, shines_upwards,
     "it shines along 0 1 0 and fades to nothing behind; with \"inner_angle\" 180 and "
     "\"outer_angle\" 180.1 it shines equally in all directions"},
    {"point_light", "inner_angle", Severity::warning, When::always, cone_inside_out,
     "\"inner_angle\" is larger than \"outer_angle\""},
    {"point_light", "sample", Severity::note, When::always, samples_without_area<PointLight>,
     "without \"blur\" all samples are equal: one is enough"},
    {"parallel_light", "sample", Severity::note, When::always, samples_without_area<ParallelLight>,
     "without \"blur\" all samples are equal: one is enough"},
    {"parallel_light", nullptr, Severity::warning, When::always, has_no_direction,
     "\"parallel_light\" without \"direction\": it shines along 0 0 1"},
    {"sky_light", "color", Severity::warning, When::always, sky_image_times_black,
     "the image multiplies \"color\", which is 0: the sky is black"},
    {"sky_light", "image", Severity::warning, When::always, stands_on_its_head,
     "a sky image that is not .hdr appears upside down unless its rows were flipped"},
    {"sky_light", "north", Severity::warning, When::always, north_along_zenith,
     "\"north\" and \"zenith\" are parallel: the sky has no east"},
    {"sky_light", "rotation", Severity::warning, When::always, turns_plain_sky,
     "\"rotation\" turns a sky without image, which looks the same all around"},
    {"sky_light", "sample", Severity::note, When::always, samples_plain_sky,
     "a sky without image takes no samples"},
    {"link", nullptr, Severity::warning, When::always, links_nothing,
     "an empty \"link\" lights all shaders"},
};

} // namespace

const std::span<const BlockRule> kLightRules = kRules;

} // namespace mh
