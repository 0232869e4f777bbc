// Colours that many threads add to at once, in double precision: a million equal small values lose
// nothing that a float could show.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/vec3.h"

#include <cstddef>
#include <vector>

namespace mh {

// One triple of numbers for each of the sums.
struct AtomicSums {
    std::vector<double> values;
};

// Sized and cleared; and the memory released.
void ResizeSums(AtomicSums& sums, std::size_t count);
void ReleaseSums(AtomicSums& sums);

// Adds to a sum; thread-safe. Values that are not finite are dropped.
void add_to_sum(AtomicSums& sums, std::size_t index, const Vec3& value);

Vec3 sum_at(const AtomicSums& sums, std::size_t index);

} // namespace mh
