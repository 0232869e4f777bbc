// How much of the photons' work is done: the lights, whose photons cost differently, are weighed by
// the time that those cast so far have taken.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <vector>

namespace mh {

// Photons of one light.
struct LightWork {
    std::uint32_t number = 0; // among those with photons, in the order of their casts
    std::int64_t count = 0, cast = 0;
    std::int64_t timed = 0, time_ns = 0;   // some of those cast, and their processor time
    std::int64_t rays = 0, elapsed_us = 0; // of its casts
};

struct PhotonWork {
    std::vector<LightWork> lights;
    std::uint32_t begun = 0;               // lights, in this round
    bool trying = false;                   // whether this round casts only a sample of each light
    std::int64_t photons = 0;              // of all lights
    std::int64_t cast = 0;                 // of all lights but the one under way
    std::int64_t done_ns = 0, left_ns = 0; // likewise, by what the timed ones cost
};

// The next light of the round, which is under way until it is counted.
LightWork& begin_light(PhotonWork& work, std::int64_t count);
void count_light(PhotonWork& work, const LightWork& light);

// How many of a light's photons are cast when the round ends.
std::int64_t photons_of_round(const PhotonWork& work, std::int64_t count);

// The share that is done: of time, or, until every light has been tried, of photons.
double share_done(const PhotonWork& work, const LightWork& under_way);

} // namespace mh
