// Replayed random draws: what a test hands in comes out of random_unit() in order, then repeats.
// SPDX-License-Identifier: MIT
#pragma once

#include <initializer_list>

namespace mh::test {

// From construction to destruction all hardware draws are the values given, each in [0, 1).
// Use on one thread only.
struct ReplayedDraws {
    explicit ReplayedDraws(std::initializer_list<float> values);
    ~ReplayedDraws();
    ReplayedDraws(const ReplayedDraws&) = delete;
    ReplayedDraws& operator=(const ReplayedDraws&) = delete;
};

// Deterministic pseudo-random bits (splitmix64) in place of the hardware's, from construction to
// destruction. Thread-safe; which thread gets which of them is left to chance.
struct SeededDraws {
    explicit SeededDraws(unsigned long long seed);
    ~SeededDraws();
    SeededDraws(const SeededDraws&) = delete;
    SeededDraws& operator=(const SeededDraws&) = delete;
};

} // namespace mh::test
