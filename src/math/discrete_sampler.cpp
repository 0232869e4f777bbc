// Prefix sums, shares and guide of a discrete distribution.
// SPDX-License-Identifier: MIT
#include "math/discrete_sampler.h"

#include "math/threads.h"

#include <algorithm>
#include <cmath>

namespace mh {

void CreateSampler(DiscreteSampler& table, std::int32_t size) {
    table = {};
    if (size < 1) return;
    table.size = size;
    table.cdf.assign(static_cast<std::size_t>(size) + 1, 0.0f);
    table.weights.assign(static_cast<std::size_t>(size), 0.0f);
    table.guide.assign(static_cast<std::size_t>(size) + 1, 0);
}

void set_weight(DiscreteSampler& table, std::int32_t index, float weight) {
    table.weights[static_cast<std::size_t>(index)] =
        std::isfinite(weight) && weight > 0.0f ? weight : 0.0f;
}

void FinishSampler(DiscreteSampler& table) {
    for (const float weight : table.weights)
        table.total += weight;
    if (!(table.total > 0.0)) {
        table = {};
        return;
    }
    double running = 0.0;
    for (std::size_t i = 0; i < table.weights.size(); ++i) {
        table.cdf[i] = static_cast<float>(running / table.total);
        running += table.weights[i];
        table.weights[i] = static_cast<float>(table.weights[i] / table.total);
    }
    table.cdf.back() = 1.0f;
#pragma omp parallel for num_threads(team_size())
    for (std::int32_t k = 0; k < table.size; ++k) {
        const float share = static_cast<float>(static_cast<double>(k) / table.size);
        const auto above = std::upper_bound(table.cdf.begin(), table.cdf.end(), share);
        const auto index = static_cast<std::int32_t>(above - table.cdf.begin());
        table.guide[static_cast<std::size_t>(k)] = std::min(index, table.size - 1);
    }
    table.guide.back() = table.size - 1;
}

std::int32_t pick(const DiscreteSampler& table, float u) {
    if (table.size < 1) return -1;
    const float scaled = static_cast<float>(table.size) * u;
    const auto k = scaled > 0.0f ? std::min(table.size - 1, static_cast<std::int32_t>(scaled)) : 0;
    const auto begin = table.cdf.begin();
    // The guide names the first sum above k / size, so the entry itself is one before; one more
    // in either direction absorbs the rounding of size * u.
    const std::int32_t low = std::max(0, table.guide[static_cast<std::size_t>(k)] - 1);
    const std::int32_t high = std::min(
        table.size, table.guide[static_cast<std::size_t>(std::min(k + 2, table.size))] + 1);
    const auto above = std::upper_bound(begin + low, begin + high, u);
    auto index = static_cast<std::int32_t>(above - begin) - 1;
    index = std::clamp(index, 0, table.size - 1);
    while (index > 0 && !(table.weights[static_cast<std::size_t>(index)] > 0.0f))
        --index;
    return index;
}

float probability(const DiscreteSampler& table, std::int32_t index) {
    if (index < 0 || index >= table.size) return 0.0f;
    return table.weights[static_cast<std::size_t>(index)];
}

std::size_t size_bytes(const DiscreteSampler& table) {
    return table.cdf.size() * sizeof(float) + table.weights.size() * sizeof(float)
           + table.guide.size() * sizeof(std::int32_t);
}

} // namespace mh
