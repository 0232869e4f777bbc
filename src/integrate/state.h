// What photons leave, what they are gathered in while they fly, and the steps of the loop over
// frames.
// SPDX-License-Identifier: MIT
#pragma once

#include "geometry/types.h"
#include "integrate/atomic_sums.h"
#include "integrate/photon_tree.h"
#include "integrate/photon_work.h"
#include "integrate/types.h"
#include "math/constants.h"
#include "shading/types.h"

#include <array>
#include <atomic>
#include <mutex>

namespace mh {

// Photons that a thread casts one after the other: the number of the light, and that of the first
// of them.
struct PhotonChunk {
    std::uint32_t light = 0;
    std::int64_t first = 0;

    bool operator==(const PhotonChunk&) const = default;
};

// Where the caustic photons of a chunk begin among those of their thread.
struct ChunkBegin {
    PhotonChunk chunk;
    std::size_t begin = 0;
};

// Caustic photons of a thread, joined at the end of the pass.
struct alignas(64) ThreadPhotons {
    std::vector<CausticPhoton> photons;
    std::vector<ChunkBegin> chunks; // that left some, with a seed
    PhotonChunk chunk;              // that is being cast
    std::size_t left_out = 0;       // for lack of memory
};

// Rough surfaces that a thread's path has seen so far, weighted; way: lengths of its segments up to
// each depth.
struct alignas(64) PathFeatures {
    Vec3 direct, albedo, normal;
    float depth = 0.0f, weight = 0.0f;
    std::array<float, 256> way = {};
};

struct SharedBounce;

// Where the paths of a thread note what their neighbour shares; null: nowhere.
struct alignas(64) NotedBounce {
    SharedBounce* bounce = nullptr;
};

// The estimated error of the picture after so many frames: 95th percentile of its blocks.
struct MeasuredNoise {
    std::uint32_t frames = 0;
    double percentile = 0.0;
};

struct IntegrateStateRecord {
    std::vector<CausticPhoton> photons;
    PhotonTree photon_tree;
    std::vector<DensityGrid> density_grids; // of the parts of the root object
    const Part* first_part = nullptr;       // of these, while there are grids
    float resolution_of_grids = 0.0f;       // that they were laid out for
    AtomicSums density_sums;                // of all cells, while photons fly
    AtomicSums splats;                      // of all pixels; empty when nothing is to be splatted
    std::array<ThreadPhotons, kMaxThreads> photons_of_thread;
    std::array<PathFeatures, kMaxThreads> features_of_thread;
    std::array<NotedBounce, kMaxThreads> bounce_of_thread;
    std::size_t most_photons_of_thread = 0; // that a thread may store
    PhotonWork photon_work;                 // of this pass
    FrameSums frame_sums;                   // of a seeded run
    std::vector<MeasuredNoise> noise;       // of a run with a target
    bool path_was_cut = false;              // for lack of stack; written by all threads
    FrameSteps steps;                       // of the loop over frames that runs
};

[[gnu::visibility("hidden")]] extern IntegrateStateRecord IntegrateState;

inline constexpr auto& Photons = IntegrateState.photons;

// At the end of a scene.
void ResetIntegrate();

struct KeptImage {
    Image* image = nullptr;
    std::vector<float> floats; // of the rows that are kept
};

// The frame under way, as it was before it began. It ends with the loop over frames.
struct FrameUnderWay {
    std::mutex lock; // of all but the rows' values, which one thread at a time has
    bool under_way = false;
    std::vector<KeptImage> images; // all that change with frames
    std::vector<bool> row_is_kept;
    std::atomic<bool> cut = false;
};

extern FrameUnderWay CurrentFrame;

} // namespace mh
