// The processor's random instruction, a generator per thread where there is none, and the streams
// of a seed.
// SPDX-License-Identifier: MIT
#include "math/random.h"

#include "math/constants.h"
#include "math/hash.h"

#include <random>

#if defined(__x86_64__)
#include <cpuid.h>
#include <immintrin.h>
#endif

namespace mh {

namespace {

std::uint32_t software_bits() {
    thread_local std::mt19937 generator{std::random_device{}()};
    return static_cast<std::uint32_t>(generator());
}

#if defined(__x86_64__)

__attribute__((target("rdrnd"))) std::uint64_t hardware_pair() {
    constexpr int kTries = 10; // the instruction may run dry for a moment
    unsigned long long value = 0;
    for (int i = 0; i < kTries; ++i) {
        if (_rdrand64_step(&value) != 0) return value;
    }
    const std::uint64_t high = software_bits();
    return high << 32 | software_bits();
}

// The instruction takes as long for 64 bits as for 32, some 100 cycles. The second half waits for
// the next call, and the pair after it is asked for ahead, so that what follows runs meanwhile.
std::uint32_t hardware_bits() {
    thread_local std::uint64_t pair = 0, ahead = 0;
    thread_local unsigned calls = 0;
    if (calls == 0) ahead = hardware_pair();
    if (calls++ % 2 != 0) return static_cast<std::uint32_t>(pair >> 32);
    pair = ahead;
    ahead = hardware_pair();
    return static_cast<std::uint32_t>(pair);
}

// Not __builtin_cpu_supports: clang has no such name.
bool has_instruction() {
    unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
    return __get_cpuid(1, &eax, &ebx, &ecx, &edx) != 0 && (ecx & bit_RDRND) != 0;
}

// Some processors answer all ones after a suspend: such an instruction is not trusted.
bool hardware_works() {
    if (!has_instruction()) return false;
    const std::uint32_t first = hardware_bits(), second = hardware_bits();
    return first != second || second != hardware_bits();
}

std::uint32_t first_bits() {
    RandomSource = hardware_works() ? hardware_bits : software_bits;
    return RandomSource();
}

#else

std::uint32_t first_bits() {
    return software_bits();
}

#endif

std::uint64_t seed_of_run = 0;

void make_key(StreamState& stream) {
    const auto kind = static_cast<std::uint64_t>(stream.kind);
    stream.key = derive_key(derive_key(derive_key(seed_of_run, kind), stream.a), stream.b);
    stream.has_key = true;
}

std::uint32_t seeded_bits() {
    StreamState& stream = StreamOfThread;
    if (!stream.has_key) make_key(stream);
    return static_cast<std::uint32_t>(derive_key(stream.key, stream.drawn++) >> 32);
}

} // namespace

constinit thread_local StreamState StreamOfThread;
std::uint32_t (*RandomSource)() = first_bits;

void DrawFromHardware() {
    RandomSource = first_bits;
}

void DrawFromSeed(std::uint64_t seed) {
    seed_of_run = seed;
    RandomSource = seeded_bits;
    start_stream(Stream::pattern, 0, 0);
}

bool draws_from_seed() {
    return RandomSource == seeded_bits;
}

float random_unit() {
    constexpr float kScale = 2.3283064e-10f; // 2^-32
    const float x = static_cast<float>(RandomSource()) * kScale;
    return x < kLargestBelowOne ? x : kLargestBelowOne;
}

} // namespace mh
