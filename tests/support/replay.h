// Seeded random draws.
// SPDX-License-Identifier: MIT
#pragma once

namespace mh::test {

// Deterministic pseudo-random bits (splitmix64) in place of the hardware's, from construction to
// destruction. Thread-safe; which thread gets which of them is left to chance.
struct SeededDraws {
    explicit SeededDraws(unsigned long long seed);
    ~SeededDraws();
    SeededDraws(const SeededDraws&) = delete;
    SeededDraws& operator=(const SeededDraws&) = delete;
};

} // namespace mh::test
