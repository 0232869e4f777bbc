// Sequences of exported calls: the input's bytes choose functions and arguments.
// SPDX-License-Identifier: MIT
#include "frame/moonhare.h"
#include "harness.h"
#include "support/random_calls.h"

#include <random>

namespace mh::fuzz {

namespace {

std::string_view rest;
std::minstd_rand generator;

unsigned next_byte() {
    if (rest.empty()) return 0;
    const auto byte = static_cast<unsigned char>(rest.front());
    rest.remove_prefix(1);
    return byte;
}

unsigned chosen(unsigned limit) {
    constexpr unsigned kBytes = 256;
    const unsigned value = next_byte();
    return (limit > kBytes ? value * kBytes + next_byte() : value) % limit;
}

unsigned drawn(unsigned limit) {
    return static_cast<unsigned>(generator()) % limit;
}

} // namespace

void Try(std::string_view input) {
    constexpr unsigned kShareOfPhases = 8;
    rest = input;
    generator.seed(next_byte()); // the arrays would take too many bytes
    test::DrawFrom(drawn);
    test::FillArrays();
    test::DrawFrom(chosen);
    test::CallStart();
    while (!rest.empty())
        chosen(kShareOfPhases) == 0 ? test::CallPhase() : test::CallToBuild();
    mhFinalize();
    mhShutdown();
}

} // namespace mh::fuzz
