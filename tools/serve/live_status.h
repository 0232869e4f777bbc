// What pages are told of a render beside its pictures.
// SPDX-License-Identifier: MIT
#pragma once

#include "json_text.h"
#include "output/types.h"

#include <cstdint>
#include <functional>
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
    int scale = 1, coarsest = 1;  // now, and when the view began
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

// The one of the render; on any thread.
LiveStatus StatusNow();
void UpdateStatus(const std::function<void(LiveStatus& status)>& act);
void SetStage(LiveStage stage);
void Say(const std::string& message);

// The same for what changes with each frame: pages see it when they look the next time.
void UpdateNumbers(const std::function<void(LiveStatus& status)>& act);

// Waits until something but numbers has changed since the version, or so many milliseconds; returns
// the version there is.
std::uint64_t WaitForChange(std::uint64_t version, int milliseconds);

} // namespace mh
