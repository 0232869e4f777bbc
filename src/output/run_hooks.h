// What a program around the library may ask of a run: news of its progress, an early end, a later
// start. Unset by default, and ignored while unset. StopRequested of math/stop.h
// ends a run early.
// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

namespace mh {

struct Image;

constexpr std::uint32_t kAllFrames = 0xFFFFFFFFu;

struct RunHooks {
    std::uint32_t first_frame = 0; // where the loop starts: frames that the images hold already
    std::uint32_t begin_frame = 0; // of a piece, its first; it does not move when resumed
    std::uint32_t end_frame = kAllFrames; // one behind the last, where the camera has more
    void (*frame_done)() = nullptr;  // after each frame; the run ends when FrameIndex has reached
                                     // the camera's number of frames, which may be set here
    void (*ended_early)() = nullptr; // frames are missing, and the images not written yet
    bool drops_cut_frames = false;   // whether images are kept as they were before the frame
    double (*picture_error)() = nullptr; // what a noise target is held against after some frames,
                                         // in place of the noise that the frames tell
    bool (*restore_photons)() = nullptr; // in place of a pass: true when it has
    void (*photons_stored)() = nullptr;  // before the tree brings them into its order
    void (*photons_cast)(double share) = nullptr;        // of their work, as far as estimated; one
                                                         // call at a time
    void (*image_written)(const Image& image) = nullptr; // each time, on the thread that writes
    void (*write_failed)(const std::string& path, const std::string& reason) = nullptr;
    std::atomic<std::int64_t> samples_not_finite = 0;    // of pixels; such channels count as 0
    std::atomic<std::int64_t> aov_values_not_finite = 0; // that were not added
};

} // namespace mh
