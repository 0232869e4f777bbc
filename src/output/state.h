// The table of cameras, and what goes on between a run and the program around it.
// SPDX-License-Identifier: MIT
#pragma once

#include "output/run_hooks.h"
#include "output/types.h"

#include <array>
#include <cstdint>
#include <exception>
#include <map>
#include <string>
#include <vector>

namespace mh {

struct ImageWritingRecord {
    bool exr_floats = false;                   // .exr files hold 32-bit floats, otherwise halves
    std::map<std::string, std::string> faults; // by path: why the last write failed
};

// An image that the first hits of a frame add to.
struct FirstHitImage {
    float* floats = nullptr;
    std::size_t pixels = 0, channels = 3;
    const std::string* user_data = nullptr; // of its AOV
};

// Those of the frame under way, by channel: of the channel with bit b from begin[b] to
// begin[b + 1] - 1.
struct FirstHitImages {
    std::vector<FirstHitImage> images;
    std::array<std::uint32_t, kChannels + 1> begin{};
};

// Sums of the planes: of each pixel its number of frames, and how many it is to have next; then for
// light, albedo, normal and depth the sum over even frames, over odd ones, and that of squares.
struct PlaneSumsRecord {
    PlaneNeed asked = PlaneNeed::none, kept = PlaneNeed::none;
    std::vector<Aov> sums;     // as many as are kept
    std::int32_t ended_of = 0; // frames that the run was to have; 0 until it has ended
};

struct OutputStateRecord {
    std::vector<Camera> cameras;
    FirstHitImages first_hits;
    PlaneSumsRecord planes;
    ImageWritingRecord image_writing;
};

[[gnu::visibility("hidden")]] extern OutputStateRecord OutputState;

inline constexpr auto& Cameras = OutputState.cameras;
inline constexpr auto& FirstHits = OutputState.first_hits;
inline constexpr auto& PlaneSums = OutputState.planes;
inline constexpr auto& ImageWriting = OutputState.image_writing;

// At the end of a scene.
void ResetOutput();

// Of the program around the library, for all runs.
extern RunHooks Hooks;

// Of the last run that asked for a window; read after its scene has ended.
struct PreviewRecord {
    bool (*next_frame)() = nullptr;
    bool is_open = false, was_shown = false;
    float stops = 0.0f;              // of exposure, by keys
    std::vector<std::uint8_t> bytes; // what the window shows
    std::array<char, 64> title = {};
    std::exception_ptr thrown; // by a frame, until the window is gone
};

extern PreviewRecord Preview;

} // namespace mh
