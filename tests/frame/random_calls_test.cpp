// All exported functions in random order with random arguments: under the sanitizers nothing may be
// read or written out of bounds.
// SPDX-License-Identifier: MIT
#include "support/random_calls.h"

#include "frame/moonhare.h"
#include "support/expect.h"
#include "support/fresh_scene.h"

#include <random>

#include <gtest/gtest.h>

namespace mh::test {
namespace {

constexpr unsigned kSequences = 60;
std::mt19937 generator;

unsigned draw(unsigned limit) {
    return static_cast<unsigned>(generator()) % limit;
}

void call_in_sequence() {
    DrawFrom(draw);
    FillArrays();
    if (draw(10) != 0) CallStart();
    for (int i = 0; i < 150; ++i)
        CallToBuild();
    if (draw(2) == 0) CallInitialize();
    for (int i = 0; i < 8; ++i)
        CallPhase();
}

void end_library() {
    mhFinalize();
    mhShutdown();
}

TEST(RandomCalls, NeverBreakTheLibrary) {
    TemporaryFolder folder;
    // Other sequences: --gtest_random_seed=N
    const unsigned first = kSequences * static_cast<unsigned>(GTEST_FLAG_GET(random_seed));
    for (unsigned seed = first; seed < first + kSequences; ++seed) {
        SCOPED_TRACE(seed);
        generator.seed(seed);
        printed_by(call_in_sequence);
        if (seed % 8 != 0) continue; // leftovers of a run meet the next
        printed_by(end_library);
    }
    printed_by(mhStartup);
    printed_by(end_library);
}

} // namespace
} // namespace mh::test
