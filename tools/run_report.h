// The report of a run as JSON: phases, memory, rays, statistics of the images.
// SPDX-License-Identifier: MIT
#pragma once

#include "json_text.h"

#include <cstdint>
#include <string>
#include <vector>

namespace mh {

struct PhaseTime {
    std::string name;
    double seconds = 0.0;
};

struct RunRecord {
    std::vector<PhaseTime> phases;
    std::int64_t rays = 0, shadow_rays = 0; // of all frames
    double frame_seconds = 0.0;
    std::int64_t samples_not_finite = 0, aov_values_not_finite = 0;
    Json images = Json::array();
    Json noise;                  // null where none is estimated
    double denoised_noise = 0.0; // percentile that is expected after the denoiser
};

// Statistics of all images as they are written after the frame just done.
Json ImageStatistics();

// The estimated relative error of the picture.
Json NoiseStatistics();

std::string RunReportText(const RunRecord& record, const std::string& scene, int status);

// Of the process so far.
double peak_memory_bytes();

} // namespace mh
