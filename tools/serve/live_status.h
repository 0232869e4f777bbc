// What pages are told of a render beside its pictures.
// SPDX-License-Identifier: MIT
#pragma once

#include "json_text.h"
#include "output/types.h"

#include <cstdint>
#include <string>
#include <vector>

namespace mh {

enum class LiveStage : std::uint8_t {
    reading,   // the scene
    preparing, // trees, lights, photons
    rendering,
    stopped, // on request; goes on on request
    done,    // all frames are there
};

struct LiveStatus {
    LiveStage stage = LiveStage::reading;
    std::uint32_t generation = 0; // of the view
    int scale = 1;
    std::uint32_t frames = 0, frames_expected = 0;
    double rays_per_second = 0.0;
    double elapsed_s = 0.0, remaining_s = 0.0; // of these frames
    double noise = 0.0; // estimated relative error of the picture; 0 while nothing is known
    int width = 0, height = 0;
    PixelRegion region;
    std::string scene, camera;
    std::vector<std::string> images;
    Json check = {{"faults", Json::array()}}; // as "check --json" prints it
    std::string message;                      // of the last thing that was written, or failed
    bool watches = false, keeps_last_good = false;
};

std::string StatusJson(const LiveStatus& status);

// The error of the picture, estimated from how far it still moves: between n and 2 n frames by as
// much as it is off in the end, as the second half is as good as the first. From a part of its
// pixels.
struct DriftNoise {
    std::vector<float> before; // brightness after `frames`
    std::uint32_t frames = 0, next = 1;
    double error = 0.0;
};

// After a whole frame, by the thread that renders; does nothing but after 1, 2, 4, 8, ...
void FollowDrift(DriftNoise& drift, const Image& beauty, std::uint32_t frames);

// What it says of the frames there are now.
double NoiseNow(const DriftNoise& drift, std::uint32_t frames);

} // namespace mh
