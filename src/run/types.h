// What a run is made of: settings, counters, per-thread tables.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/constants.h"
#include "math/matrix.h"
#include "math/vec3.h"

#include <array>
#include <cstdint>
#include <string>

namespace mh {

constexpr int kMaxInstanceLevels = 16;

// How the light of a picture is estimated.
enum class Estimator : std::uint8_t {
    classic, // Halton points, tables of samples, several small biases
    exact,   // scrambled Sobol points, the emitters themselves, no known bias
};

struct RendererSettingsRecord {
    std::int32_t sample = 64; // gather rays of a full-weight point over the run
    std::int32_t photon_depth = 8;
    std::int32_t ray_depth = 8; // 8 bits of depth: the effective limit is 255
    std::int32_t bounce = 1;    // levels of diffuse and glossy bounces
    float distance = 1.0f;      // gather length; 0 selects path tracing
    float resolution = 1.0f;    // area of a density cell; 0 selects path tracing
    float radius = 1.0f;        // of caustic look-ups
    float radius_squared = 1.0f, radius_cubed = 1.0f;
    Vec3 clamp = {kFar, kFar, kFar}; // upper limit of a pixel's value in a frame
    float exposure = 0.0f;           // stored only
    bool final_gather = false;       // the mode, decided when the renderer is initialised
    Estimator estimator = Estimator::classic;
    std::int64_t seed = -1;           // of all random numbers; below 0: the hardware's
    float noise = 0.0f;               // the run ends where the picture's error is below; 0: never
    bool adaptive = false;            // frames go where they are needed
    std::int32_t bounce_samples = 64; // sample when the renderer was initialised: what paths read
};

struct RayStatisticsRecord {
    std::int64_t render_microseconds = 0;
    std::int64_t render_rays = 0;
    std::int64_t render_shadow_rays = 0;
};

// Work of the shadow walks in first frames of the run.
struct TraversalTotalsRecord {
    std::uint64_t nodes = 0, leaves = 0, primitives = 0;
};

// What one thread owns while it traces; indexed by Ray::thread.
struct alignas(64) ThreadState {
    std::int32_t pixel = 0;  // linear index y * width + x, the slot of all AOV writes
    std::uint32_t frame = 0; // of the run, whose points the path takes; first index of split loops
    std::uint64_t rays = 0;  // closest-hit queries
    std::uint64_t shadow_rays = 0;
    std::uint64_t shadow_nodes = 0, shadow_leaves = 0, shadow_primitives = 0;
    Vec3 last_lookup_position;       // of the last caustic look-up worth keeping
    float last_lookup_radius = kFar; // squared; kFar for none
    std::uintptr_t lowest_frame = 0; // of the stack, where paths must end; 0 when unknown
    std::array<Mat3, kMaxInstanceLevels>
        instance_normal_matrices; // of the closest hit, outermost first
};

} // namespace mh
