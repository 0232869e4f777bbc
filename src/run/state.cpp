// The process-wide state of a run, at the values a loaded library starts with.
// SPDX-License-Identifier: MIT
#include "run/types.h"

namespace mh {

RendererSettingsRecord RendererSettings;
RayStatisticsRecord RayStatistics;
TraversalTotalsRecord TraversalTotals;
std::array<ThreadState, kMaxThreads> ThreadStates;
std::int32_t ActiveCameraIndex = 0;
std::uint32_t FrameIndex = 0;
std::uint32_t CurrentSample = 0;
std::string SceneDirectory;
bool PreviewWindow = false;
float DisplayGamma = 2.2f;

} // namespace mh
