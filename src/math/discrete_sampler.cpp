// Prefix sums, shares and guide of a discrete distribution.
// SPDX-License-Identifier: MIT
#include "math/discrete_sampler.h"

#include "math/at.h"
#include "math/threads.h"

#include <algorithm>
#include <cmath>

namespace mh {

namespace {

constexpr std::int32_t kGuideBlock = 4096; // entries that one thread fills at a time

// The sums and the shares k / size both rise: after one search each entry goes on from the last.
void fill_guide(DiscreteSampler& table, std::int32_t first, std::int32_t end) {
    const auto share = [&](std::int32_t k) {
        return static_cast<float>(static_cast<double>(k) / table.size);
    };
    auto above = std::upper_bound(table.cdf.begin(), table.cdf.end(), share(first));
    for (std::int32_t k = first; k < end; ++k) {
        while (above != table.cdf.end() && !(*above > share(k)))
            ++above;
        const auto index = static_cast<std::int32_t>(above - table.cdf.begin());
        at(table.guide, k) = std::min(index, table.size - 1);
    }
}

// The entry with cdf[entry] <= u < cdf[entry + 1], or the last one. The guide names the first sum
// above k / size, so the entry itself is one before; it is nearly always among the next few. One
// more in either direction absorbs the rounding of size * u.
std::int32_t find_entry(const DiscreteSampler& table, std::int32_t k, float u) {
    constexpr std::int32_t kSteps = 4;
    const float* sums = table.cdf.data();
    const std::int32_t* guide = table.guide.data();
    std::int32_t low = std::max(0, guide[k] - 1);
    if (low > 0 && sums[low] > u) --low;
    const std::int32_t near = std::min(low + kSteps, table.size - 1);
    while (low < near && !(sums[low + 1] > u))
        ++low;
    if (low < near || sums[low + 1] > u) return low;
    const std::int32_t high = std::min(table.size, guide[std::min(k + 2, table.size)] + 1);
    const auto above =
        static_cast<std::int32_t>(std::upper_bound(sums + low, sums + high, u) - sums);
    return std::clamp(above - 1, low, table.size - 1);
}

// Entries without weight stand where sums do not rise: only u at a sum of 1 finds one.
std::int32_t last_weighted(const DiscreteSampler& table, std::int32_t index) {
    while (index > 0 && !(at(table.weights, index) > 0.0f))
        --index;
    return index;
}

} // namespace

void CreateSampler(DiscreteSampler& table, std::int32_t size) {
    table = {};
    if (size < 1) return;
    table.size = size;
    table.cdf.assign(to_size(size) + 1, 0.0f);
    table.weights.assign(to_size(size), 0.0f);
    table.guide.assign(to_size(size) + 1, 0);
}

void set_weight(DiscreteSampler& table, std::int32_t index, float weight) {
    at(table.weights, index) = std::isfinite(weight) && weight > 0.0f ? weight : 0.0f;
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
    for (std::int32_t k = 0; k < table.size; k += kGuideBlock)
        fill_guide(table, k, std::min(table.size, k + kGuideBlock));
    table.guide.back() = table.size - 1;
}

std::int32_t pick(const DiscreteSampler& table, float u) {
    if (table.size < 1) return -1;
    const float scaled = static_cast<float>(table.size) * u;
    const auto k = scaled > 0.0f ? std::min(table.size - 1, static_cast<std::int32_t>(scaled)) : 0;
    const std::int32_t index = find_entry(table, k, u);
    return u < table.cdf[to_size(index) + 1] ? index : last_weighted(table, index);
}

float probability(const DiscreteSampler& table, std::int32_t index) {
    if (index < 0 || index >= table.size) return 0.0f;
    return at(table.weights, index);
}

std::size_t size_bytes(const DiscreteSampler& table) {
    return table.cdf.size() * sizeof(float) + table.weights.size() * sizeof(float)
           + table.guide.size() * sizeof(std::int32_t);
}

} // namespace mh
