// Radical inverses: a table for early samples and dimensions, digit by digit for the others.
// SPDX-License-Identifier: MIT
#include "math/sequence.h"

#include "math/random.h"
#include "math/threads.h"

#include <array>

namespace mh {

namespace {

constexpr int kTableDimensions = 16;
constexpr int kTableSamples = 4096;
constexpr int kPrimeCount = 1024;

float halton[kTableDimensions][kTableSamples];
std::array<std::uint32_t, kPrimeCount> primes;

void find_primes() {
    std::size_t found = 0;
    for (std::uint32_t candidate = 2; found < primes.size(); ++candidate) {
        bool prime = true;
        for (std::size_t i = 0; i < found && primes[i] * primes[i] <= candidate && prime; ++i)
            prime = candidate % primes[i] != 0;
        if (prime) primes[found++] = candidate;
    }
}

float radical_inverse(std::uint32_t sample, std::uint32_t base) {
    constexpr float kLargestBelowOne = 0.99999994f; // late sums of digits can round to 1
    const float step = 1.0f / static_cast<float>(base);
    float result = 0.0f, scale = step;
    for (; sample > 0; sample /= base, scale *= step)
        result += static_cast<float>(sample % base) * scale;
    return result < kLargestBelowOne ? result : kLargestBelowOne;
}

// The same in every run: made once in a process.
void fill_tables() {
    find_primes();
#pragma omp parallel for num_threads(team_size())
    for (int d = 0; d < kTableDimensions; ++d) {
        for (std::uint32_t i = 0; i < kTableSamples; ++i)
            halton[d][i] = radical_inverse(i, primes[static_cast<std::size_t>(d)]);
    }
}

} // namespace

Vec2 PixelPattern[kPatternSize * kPatternSize];

void BuildSequences() {
    if (primes[0] == 0) fill_tables();
    for (Vec2& pair : PixelPattern) {
        pair.x = random_unit();
        pair.y = random_unit();
    }
}

float sequence_value(std::uint32_t sample, std::uint32_t dimension) {
    if (dimension < kTableDimensions && sample < kTableSamples) return halton[dimension][sample];
    return radical_inverse(sample, primes[dimension % kPrimeCount]);
}

Vec2 next_pair(SampleCursor& cursor) {
    const float u = rotate_unit(sequence_value(cursor.sample, cursor.dimension), cursor.rotation_u);
    const float v =
        rotate_unit(sequence_value(cursor.sample, cursor.dimension + 1), cursor.rotation_v);
    cursor.dimension += 2;
    return {u, v};
}

} // namespace mh
