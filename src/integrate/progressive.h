// The loop around the frames: one sample per pixel each, the performance lines, the closing
// statistics, and the optional preview window.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace mh {

// What a frame needs from folders further down; all are set.
struct FrameSteps {
    void (*begin_frame)(std::uint32_t frame) = nullptr;   // clears counters of the trees
    void (*render_pixels)(std::uint32_t frame) = nullptr; // adds to RayStatistics
    void (*first_frame_done)() = nullptr;                 // reorders the trees
    void (*finish_lights)() = nullptr;                    // writes and releases the lights
};

// All frames of the active camera, in the preview window when PreviewWindow is set. A stop request
// and a window that is closed end the run early: images are those of the whole frames, and without
// one nothing is written. Without a camera nothing happens.
void RunProgressiveLoop(const FrameSteps& steps);

// One frame if one is due, and after the last the closing steps; whether a whole one was made.
bool RunFrame();

} // namespace mh
