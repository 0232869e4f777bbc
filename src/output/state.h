// The table of cameras, and what goes on between a run and the program around it.
// SPDX-License-Identifier: MIT
#pragma once

#include "output/run_hooks.h"
#include "output/types.h"

#include <map>

namespace mh {

struct ImageWritingRecord {
    bool exr_floats = false;                   // .exr files hold 32-bit floats, otherwise halves
    std::map<std::string, std::string> faults; // by path: why the last write failed
};

struct OutputStateRecord {
    std::vector<Camera> cameras;
    ImageWritingRecord image_writing;
};

extern OutputStateRecord OutputState;

inline constexpr auto& Cameras = OutputState.cameras;
inline constexpr auto& ImageWriting = OutputState.image_writing;

// At the end of a scene.
void ResetOutput();

// Of the program around the library, for all runs.
extern RunHooks Hooks;

} // namespace mh
