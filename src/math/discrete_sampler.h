// A discrete distribution with a guide table: picks in constant time plus a short search
// [ChenAsau74]. Used by the sky's map, the geometry light's table and the emitters of an object.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <vector>

namespace mh {

struct DiscreteSampler {
    std::int32_t size = 0;
    std::vector<float> cdf;          // size + 1 running sums over the total; the last is 1
    std::vector<float> weights;      // share of each entry in the total
    std::vector<std::int32_t> guide; // entry k: first index with cdf above k / size
    double total = 0.0;              // sum of the weights before the division
};

// Sizes the arrays and clears them; a size below 1 gives the empty table.
void CreateSampler(DiscreteSampler& table, std::int32_t size);

// Each entry is written once; threads may write different entries at the same time. Weights that
// are not finite or below 0 count as 0.
void set_weight(DiscreteSampler& table, std::int32_t index, float weight);

// Prefix sums in double, shares, guide. A table whose weights are all 0 becomes empty: size 0.
void FinishSampler(DiscreteSampler& table);

// Index for u in [0, 1); clamped to the last entry that has weight. -1 from an empty table.
std::int32_t pick(const DiscreteSampler& table, float u);

// Share of an entry; 0 outside the table.
float probability(const DiscreteSampler& table, std::int32_t index);

std::size_t size_bytes(const DiscreteSampler& table);

} // namespace mh
