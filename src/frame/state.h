// Where a host stands in the order of calls, and what was reported of its calls. None of it ends
// with a scene.
// SPDX-License-Identifier: MIT
#pragma once

#include "shading/types.h"

#include <cstdint>
#include <mutex>
#include <ostream>
#include <set>
#include <streambuf>
#include <string>
#include <utility>
#include <vector>

namespace mh {

enum class HostFault : std::uint8_t { order, record, null_pointer, count, value };

// Phases that close the building of some records; `frames` stands for mhRender.
enum class Phase : std::uint8_t {
    cameras,
    shaders,
    accelerator,
    sky,
    geometry_light,
    gaffer,
    renderer,
    frames,
};

enum class Stage : std::uint8_t {
    down,      // before mhStartup, after mhShutdown
    open,      // a scene is built, completed or rendered
    dissolved, // its shaders are gone
};

// Where a host stands in the order of calls.
struct HostProgress {
    Stage stage = Stage::down;
    std::uint32_t done = 0;      // a bit per Phase
    bool finalized_late = false; // by mhShutdown, for a host that had not called mhFinalize
    bool is_lost = false;        // a call ended by an exception
};

extern HostProgress Progress;

// By call: what was reported since the start of the run.
extern std::set<std::pair<std::string, HostFault>> ReportedFaults;

// An image that a host has taken; it outlives its scene.
struct Picture {
    bool taken = false; // else the slot is free
    std::int32_t width = 0, height = 0;
    std::vector<float> values;
};

extern std::vector<Picture> Pictures;
extern std::mutex PicturesMutex; // hosts release pictures at any time

// Of the lights, which end with the last frame, until they are denoised.
extern std::vector<Image> LightImages;

// What was reported and not taken yet.
struct KeptText : std::streambuf {
    std::mutex mutex; // frames are rendered on one thread and the text is taken on another
    std::string text;

    int_type overflow(int_type c) override;
    std::streamsize xsputn(const char* from, std::streamsize count) override;
};

extern KeptText KeptReport;
extern std::ostream KeptStream; // into it

// From mhStartup to mhShutdown.
extern bool ImageLibraryStarted;

} // namespace mh
