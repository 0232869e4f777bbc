// Points of an eight-dimensional sequence in base 2, as four pairs of dimensions of which each is a
// Sobol sequence by itself [Sobol67], scrambled by nested random flips of their binary digits
// [Owen95] that a hash stands in for [Burley20]. Pairs of different keys are independent of one
// another, each stays as even as the sequence itself, and so does every prefix.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/at.h"
#include "math/vec3.h"

#include <array>
#include <cstdint>

namespace mh {

constexpr std::uint32_t reverse_bits(std::uint32_t x) {
    x = __builtin_bswap32(x);
    x = (x >> 4 & 0x0F0F0F0Fu) | (x & 0x0F0F0F0Fu) << 4;
    x = (x >> 2 & 0x33333333u) | (x & 0x33333333u) << 2;
    return (x >> 1 & 0x55555555u) | (x & 0x55555555u) << 1;
}

// Flips of each digit of a number whose digits stand in reverse order, by a hash of the digits
// before it and of the key [LaineKarras11].
constexpr std::uint32_t scramble_reversed(std::uint32_t x, std::uint32_t key) {
    x += key;
    x ^= x * 0x6C50B47Cu;
    x ^= x * 0xB82F1E52u;
    x ^= x * 0xC7AFE638u;
    return x ^ x * 0x8D22F6E6u;
}

constexpr float unit_of_bits(std::uint32_t bits) {
    constexpr float kTwoToMinus24 = 5.9604645e-8f; // floats below 1 hold 24 bits
    return static_cast<float>(bits >> 8) * kTwoToMinus24;
}

constexpr Vec2 pair_of_bits(std::uint64_t bits) {
    return {unit_of_bits(static_cast<std::uint32_t>(bits)),
            unit_of_bits(static_cast<std::uint32_t>(bits >> 32))};
}

// What each byte of a number's first 24 binary digits, in reverse order, is worth.
using DigitValues = std::array<std::array<float, 256>, 3>;
extern const DigitValues kDigitValues;

// In [0, 1); exact, since floats below 1 hold 24 bits.
inline float unit_of_reversed(std::uint32_t digits) {
    return kDigitValues[0][digits & 0xFF] + kDigitValues[1][digits >> 8 & 0xFF]
           + kDigitValues[2][digits >> 16 & 0xFF];
}

// Which two of the eight dimensions.
enum class PointSet : std::uint8_t { first, second, third, fourth };

// What each byte of a point's number, with its digits in reverse order, adds modulo 2 to both
// coordinates: x in the upper half, y in the lower, digits again in reverse order.
using PointTable = std::array<std::array<std::uint64_t, 256>, 4>;
extern const std::array<PointTable, 4> kPointTables;

// Point `place` of the set, scrambled by the key. Both coordinates in [0, 1).
inline Vec2 even_pair(PointSet set, std::uint32_t place, std::uint64_t key) {
    const PointTable& table = at(kPointTables, set);
    const std::uint64_t digits = table[0][place & 0xFF] ^ table[1][place >> 8 & 0xFF]
                                 ^ table[2][place >> 16 & 0xFF] ^ table[3][place >> 24];
    const std::uint32_t x = scramble_reversed(static_cast<std::uint32_t>(digits >> 32),
                                              static_cast<std::uint32_t>(key >> 32));
    const std::uint32_t y =
        scramble_reversed(static_cast<std::uint32_t>(digits), static_cast<std::uint32_t>(key));
    return {unit_of_reversed(x), unit_of_reversed(y)};
}

// A point of the key's own sequence, in another order: stretches that start at multiples of a power
// of two stay together.
inline Vec2 scrambled_pair(std::uint32_t place, std::uint64_t key) {
    const auto low = static_cast<std::uint32_t>(key), high = static_cast<std::uint32_t>(key >> 32);
    const std::uint32_t of_index = (low ^ high * 0x9E3779B9u) + 0x7F4A7C15u;
    return even_pair(PointSet::first, scramble_reversed(place, of_index), key);
}

} // namespace mh
