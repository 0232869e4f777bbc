// The work of photons.
// SPDX-License-Identifier: MIT
#include "integrate/photon_work.h"

namespace mh {

namespace {

constexpr std::int64_t kTrialShare = 25; // one of so many photons of a light tells what it costs

double ratio(std::int64_t part, std::int64_t whole) {
    return static_cast<double>(part) / static_cast<double>(whole);
}

// What so many photons of a light cost.
std::int64_t cost_ns(const LightWork& light, std::int64_t photons) {
    if (light.timed == 0) return 0;
    return static_cast<std::int64_t>(ratio(light.time_ns, light.timed)
                                     * static_cast<double>(photons));
}

std::int64_t done_ns(const LightWork& light) {
    return cost_ns(light, light.cast);
}

std::int64_t left_ns(const LightWork& light) {
    return cost_ns(light, light.count - light.cast);
}

} // namespace

LightWork& begin_light(PhotonWork& work, std::int64_t count) {
    if (work.begun == work.lights.size()) work.lights.push_back({work.begun, count});
    LightWork& light = work.lights[work.begun++];
    work.cast -= light.cast;
    work.done_ns -= done_ns(light);
    work.left_ns -= left_ns(light);
    return light;
}

void count_light(PhotonWork& work, const LightWork& light) {
    work.cast += light.cast;
    work.done_ns += done_ns(light);
    work.left_ns += left_ns(light);
}

std::int64_t photons_of_round(const PhotonWork& work, std::int64_t count) {
    return work.trying ? (count + kTrialShare - 1) / kTrialShare : count;
}

double share_done(const PhotonWork& work, const LightWork& under_way) {
    const std::int64_t done = work.done_ns + done_ns(under_way);
    const std::int64_t all = done + work.left_ns + left_ns(under_way);
    if (!work.trying && all > 0) return ratio(done, all);
    return ratio(work.cast + under_way.cast, work.photons);
}

} // namespace mh
