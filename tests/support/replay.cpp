// Replayed and seeded sources of random bits.
// SPDX-License-Identifier: MIT
#include "support/replay.h"

#include "math/random.h"

#include <atomic>
#include <cstdint>
#include <vector>

namespace mh::test {
namespace {

std::uint32_t (*previous)() = nullptr;
std::vector<std::uint32_t> values;
std::size_t next = 0;
std::atomic<std::uint64_t> state = 0;

std::uint32_t replayed() {
    return values[next++ % values.size()];
}

std::uint32_t seeded() {
    constexpr std::uint64_t kStep = 0x9E3779B97F4A7C15u;
    std::uint64_t z = state.fetch_add(kStep) + kStep;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
    return static_cast<std::uint32_t>((z ^ (z >> 31)) >> 32);
}

void install(std::uint32_t (*source)()) {
    previous = RandomSource;
    RandomSource = source;
}

} // namespace

ReplayedDraws::ReplayedDraws(std::initializer_list<float> draws) {
    values.clear();
    next = 0;
    for (const float draw : draws)
        values.push_back(static_cast<std::uint32_t>(static_cast<double>(draw) * 4294967296.0));
    install(replayed);
}

ReplayedDraws::~ReplayedDraws() {
    RandomSource = previous;
}

SeededDraws::SeededDraws(unsigned long long seed) {
    state = seed;
    install(seeded);
}

SeededDraws::~SeededDraws() {
    RandomSource = previous;
}

} // namespace mh::test
