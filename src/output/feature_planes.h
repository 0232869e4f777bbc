// What tells noise from detail: sums over the frames of a pixel, even and odd ones apart, of its
// light and of the features of its first rough surface. Kept only when something asks for it, by
// the active camera; frames that are cut, checkpoints and regions treat them like all images.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/at.h"
#include "math/vec3.h"
#include "output/state.h"
#include "output/types.h"

#include <array>
#include <cstdint>
#include <vector>

namespace mh {

// Means over the frames of a pixel, row by row.
struct Plane {
    std::int32_t channels = 0;              // 3; 1 of the depth
    std::array<std::vector<float>, 2> half; // over its even, and over its odd frames
    std::vector<float> variance;            // of the mean over all its frames, as a stray sample
                                            // of the same variance would have it; of light alone
};

// Features follow mirrors and smooth glass to the first surface that scatters. Of a pixel that sees
// several, they are weighted by what each can send.
struct FeaturePlanes {
    std::int32_t width = 0, height = 0;
    std::vector<float> frames; // of each pixel; 0 outside the region
    Plane beauty;
    Plane direct; // the part of it that light samples bring to that surface, and sky that is seen
    Plane albedo; // of the diffuse and glossy layers, of lamps and sky their light up to 1; tinted
                  // by the mirrors and glass before it
    Plane normal; // unit or shorter, each component in -1..1; 0 where nothing is hit
    Plane depth;  // length of the way to it; 0 where nothing is hit
};

// Features of one path.
struct FeatureSample {
    Vec3 direct, albedo, normal;
    float depth = 0.0f;
};

// A sum of the planes; light has squares too.
enum class Quantity : std::uint8_t { beauty, direct, albedo, normal, depth };
enum class Half : std::uint8_t { even, odd, squares };

constexpr bool has_squares(Quantity quantity) {
    return quantity <= Quantity::direct;
}

constexpr std::size_t place_of(Quantity quantity, Half half) {
    constexpr std::array<std::size_t, 5> kFirst = {2, 5, 8, 10, 12};
    return at(kFirst, quantity) + to_size(half);
}

inline Aov& plane_sum(Quantity quantity, Half half) {
    return PlaneSums.sums[place_of(quantity, half)];
}

// Variance of the mean of n values from their sum and that of their squares; that of a single value
// is not known and counts as its square.
float variance_of_mean(float sum, float squares, float n);

// At least so much is kept by the run that follows; before cameras are initialised. A run ends with
// what it kept being forgotten.
void AskForPlanes(PlaneNeed need);

// Once the active camera has its size: what was asked for, and what its AOVs need.
void AllocatePlanes(const Camera& camera);
void ReleasePlanes();

// Takes sums over as they stand, of a run of so many frames; false when there is no such set.
bool RestorePlanes(std::vector<Aov> sums, std::int32_t frames);

inline bool keeps_planes() {
    return PlaneSums.kept != PlaneNeed::none;
}

inline bool keeps_features() {
    return PlaneSums.kept == PlaneNeed::features;
}

// Frame n of the pixel, by the thread that owns it.
void add_frame(std::int64_t pixel, std::uint32_t n, const Vec3& value,
               const FeatureSample& features);

// Frames that each pixel has, and how many it is to have next; planes are kept.
inline std::vector<float>& frames_done() {
    return PlaneSums.sums[0].image.floats;
}

inline std::vector<float>& frames_wanted() {
    return PlaneSums.sums[1].image.floats;
}

// What the run, its settings and the camera's images ask for.
PlaneNeed PlanesNeeded(const Camera& camera);

// With adaptive frames the last of the sums counts the rays that each pixel has cast.
bool counts_rays();

inline std::vector<float>& rays_cast() {
    return PlaneSums.sums.back().image.floats;
}

// Bytes that a pixel's sums take.
double bytes_of_planes(PlaneNeed need);

// What sums of PlaneSums come to; empty planes where less is kept.
FeaturePlanes PlanesOf(std::vector<Aov> sums);

// The planes of the frames done. Takes the sums; they are empty afterwards.
FeaturePlanes TakeFeaturePlanes();

} // namespace mh
