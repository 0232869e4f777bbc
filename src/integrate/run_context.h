// What every path of a run reads besides the scene: the camera's medium, the counts of
// rays, and how much stack a thread has left.
// SPDX-License-Identifier: MIT
#pragma once

#include "hit/ray.h"
#include "output/camera.h"
#include "run/estimator.h"
#include "run/state.h"

#include <cstdint>

namespace mh {

// Index of the medium in which primary rays start; 1 without a camera.
inline float camera_ior() {
    const Camera* camera = ActiveCamera();
    return camera == nullptr ? 1.0f : camera->ior;
}

// Whether the hit of the ray lies within the limit of bounces: it is lit, and may spread light.
inline bool within_bounces(const Ray& ray) {
    const int spread = spread_bounces(ray);
    return spread == 0 || spread < RendererSettings.bounce;
}

// Whether a path of this throughput goes on: above the threshold in some channel, or, in the exact
// estimator, which thins its paths by chance, above 0.
inline bool carries_light(const Vec3& weight) {
    return any_above(weight, is_exact() ? 0.0f : kNothing);
}

struct RayCounts {
    std::int64_t rays = 0, shadow_rays = 0;
};

// Sums of all threads since the last call; clears them.
RayCounts TakeRayCounts();

// Notes where the stack of the calling thread ends; first thing that a worker does in a region.
void EnterWorker();

// Notes that a path ends for lack of stack.
void NoteCutPath();

// Whether too little stack is left for one more bounce: the path ends there. With stacks of the
// usual size no path of 255 bounces comes near.
inline bool stack_is_low(const Ray& ray) {
    const auto frame = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
    if (frame >= ThreadStates[ray.thread].lowest_frame) return false;
    NoteCutPath();
    return true;
}

// One warning line when a path has ended for lack of stack since the last call.
void ReportCutPaths();

} // namespace mh
