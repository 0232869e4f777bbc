// One step of the top-down build: bins, the best split plane, and the partition of a range of
// references by it. Boxes are kept in four lanes, of which the last is unused, so that compilers
// turn each operation into a vector instruction.
// SPDX-License-Identifier: MIT
#pragma once

#include "accel/types.h"
#include "math/simd4.h"

namespace mh {

// Without initial values: an array of millions is filled by all threads.
struct BuildBox {
    Float4 min, max;
};

constexpr BuildBox kEmptyBuildBox = {Float4{kFar, kFar, kFar, kFar},
                                     Float4{-kFar, -kFar, -kFar, -kFar}};

inline void merge(BuildBox& box, const BuildBox& other) {
    box.min = min4(other.min, box.min);
    box.max = max4(other.max, box.max);
}

BuildBox to_build_box(const Aabb& box);
Aabb to_aabb(const BuildBox& box);

// References in build order and their boxes; swapped together.
struct BuildItems {
    PrimitiveRef* references = nullptr;
    BuildBox* boxes = nullptr;
};

struct BuildRange {
    std::uint32_t first = 0, count = 0;
};

constexpr int kBins = 8;

struct Bins {
    BuildBox box[3][kBins];
    std::uint32_t count[3][kBins];
};

struct Split {
    bool found = false;
    BuildBox left = kEmptyBuildBox,
             right = kEmptyBuildBox; // of the primitives on each side of the plane
};

// Result of a partition: the first `left` references of the range lie left.
struct Partition {
    std::uint32_t left = 0;
    BuildBox left_centers = kEmptyBuildBox, right_centers = kEmptyBuildBox;
};

// Bounds of the boxes, and of their centers.
BuildBox range_bounds(const BuildItems& items, const BuildRange& range);
BuildBox center_bounds(const BuildItems& items, const BuildRange& range);

// Whether all centers are one point; also when none is a number.
bool is_point(const BuildBox& centers);

Bins empty_bins();

// Adds the range to the bins of all three axes; centers are the bounds of a range that holds it.
void add_to_bins(Bins& bins, const BuildItems& items, const BuildRange& range,
                 const BuildBox& centers);
void merge(Bins& bins, const Bins& other);

// The plane of least surface-area cost; of equal ones the first axis and the lowest plane.
Split best_split(const Bins& bins, const BuildBox& centers);

// The same for a range of two, without bins.
Split pair_split(const BuildItems& items, std::uint32_t first, const BuildBox& centers);

// Sends each primitive to the side whose box contains it, and to the smaller side when both do.
Partition partition(const BuildItems& items, const BuildRange& range, const Split& split);

} // namespace mh
