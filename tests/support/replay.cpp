// A seeded source of random bits.
// SPDX-License-Identifier: MIT
#include "support/replay.h"

#include "math/random.h"

#include <atomic>
#include <cstdint>

namespace mh::test {
namespace {

std::uint32_t (*previous)() = nullptr;
std::atomic<std::uint64_t> state = 0;

std::uint32_t seeded() {
    constexpr std::uint64_t kStep = 0x9E3779B97F4A7C15u;
    std::uint64_t z = state.fetch_add(kStep) + kStep;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
    return static_cast<std::uint32_t>((z ^ (z >> 31)) >> 32);
}

} // namespace

SeededDraws::SeededDraws(unsigned long long seed) {
    state = seed;
    previous = RandomSource;
    RandomSource = seeded;
}

SeededDraws::~SeededDraws() {
    RandomSource = previous;
}

} // namespace mh::test
