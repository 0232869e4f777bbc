// What a run sets and counts, and what a host asks of runs.
// SPDX-License-Identifier: MIT
#pragma once

#include "run/types.h"

#include <iosfwd>

namespace mh {

struct RunStateRecord {
    RendererSettingsRecord renderer_settings;
    RayStatisticsRecord ray_statistics;
    TraversalTotalsRecord traversal_totals;
    std::array<ThreadState, kMaxThreads> thread_states;
    std::int32_t active_camera_index = 0; // always 0: the first camera is the one rendered
    std::uint32_t frame_index = 0;        // frames done so far
    std::string scene_directory;
};

// Hidden where it is declared, as are the other states: code for a shared library would otherwise
// load its address from a table at each use.
[[gnu::visibility("hidden")]] extern RunStateRecord RunState;

inline constexpr auto& RendererSettings = RunState.renderer_settings;
inline constexpr auto& RayStatistics = RunState.ray_statistics;
inline constexpr auto& TraversalTotals = RunState.traversal_totals;
inline constexpr auto& ThreadStates = RunState.thread_states;
inline constexpr auto& ActiveCameraIndex = RunState.active_camera_index;
inline constexpr auto& FrameIndex = RunState.frame_index;
inline constexpr auto& SceneDirectory = RunState.scene_directory;

// At the start of a run.
void ResetRun();

// The host's, for all runs.
extern bool PreviewWindow;
extern float DisplayGamma; // stored only

// Where the report goes; null for std::cout.
extern std::ostream* ReportStream;

} // namespace mh
