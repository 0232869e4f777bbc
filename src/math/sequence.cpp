// Radical inverses: a table for early samples and dimensions, digit by digit for the others.
// SPDX-License-Identifier: MIT
#include "math/sequence.h"

#include "math/constants.h"
#include "math/random.h"
#include "math/threads.h"

#include <array>

namespace mh {

namespace {

constexpr int kPrimeCount = 1024;

constexpr std::array<std::uint32_t, kPrimeCount> first_primes() {
    std::array<std::uint32_t, kPrimeCount> primes = {};
    std::size_t found = 0;
    for (std::uint32_t candidate = 2; found < primes.size(); ++candidate) {
        bool prime = true;
        for (std::size_t i = 0; i < found && primes[i] * primes[i] <= candidate && prime; ++i)
            prime = candidate % primes[i] != 0;
        if (prime) primes[found++] = candidate;
    }
    return primes;
}

constexpr std::array<std::uint32_t, kPrimeCount> kPrimes = first_primes();

// The same in every run: made once in a process.
void fill_tables() {
#pragma omp parallel for num_threads(team_size())
    for (std::uint32_t d = 0; d < kTableDimensions; ++d) {
        for (std::uint32_t i = 0; i < kTableSamples; ++i)
            HaltonTable[d][i] = radical_inverse(i, d);
    }
}

} // namespace

float HaltonTable[kTableDimensions][kTableSamples];
Vec2 PixelPattern[kPatternSize * kPatternSize];

void BuildSequences() {
    if (HaltonTable[0][1] == 0.0f) fill_tables();
    FillPixelPattern();
}

void FillPixelPattern() {
    for (Vec2& pair : PixelPattern) {
        pair.x = random_unit();
        pair.y = random_unit();
    }
}

float radical_inverse(std::uint32_t sample, std::uint32_t dimension) {
    const std::uint32_t base = kPrimes[dimension % kPrimeCount];
    const float step = 1.0f / static_cast<float>(base);
    float result = 0.0f, scale = step;
    for (; sample > 0; sample /= base, scale *= step)
        result += static_cast<float>(sample % base) * scale;
    return result < kLargestBelowOne ? result : kLargestBelowOne;
}

} // namespace mh
