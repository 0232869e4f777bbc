// Pairs of the Sobol sequence, scrambled by nested random flips of their binary digits [Owen95]
// that a hash stands in for [Burley20]. Pairs of different keys are independent of one another,
// each stays as even as the sequence itself, and so does every prefix.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/vec3.h"

#include <cstdint>

namespace mh {

constexpr std::uint32_t reverse_bits(std::uint32_t x) {
    x = __builtin_bswap32(x);
    x = (x >> 4 & 0x0F0F0F0Fu) | (x & 0x0F0F0F0Fu) << 4;
    x = (x >> 2 & 0x33333333u) | (x & 0x33333333u) << 2;
    return (x >> 1 & 0x55555555u) | (x & 0x55555555u) << 1;
}

// Of both halves by themselves, which change places.
constexpr std::uint64_t reverse_all_bits(std::uint64_t x) {
    x = __builtin_bswap64(x);
    x = (x >> 4 & 0x0F0F0F0F0F0F0F0Fu) | (x & 0x0F0F0F0F0F0F0F0Fu) << 4;
    x = (x >> 2 & 0x3333333333333333u) | (x & 0x3333333333333333u) << 2;
    return (x >> 1 & 0x5555555555555555u) | (x & 0x5555555555555555u) << 1;
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

// The second dimension from the first, both with their digits in reverse order: the product with
// Pascal's matrix modulo 2, whose rows are the powers of x + 1.
constexpr std::uint32_t second_dimension(std::uint32_t x) {
    x ^= x >> 16;
    x ^= (x & 0xFF00FF00u) >> 8;
    x ^= (x & 0xF0F0F0F0u) >> 4;
    x ^= (x & 0xCCCCCCCCu) >> 2;
    return x ^ (x & 0xAAAAAAAAu) >> 1;
}

constexpr float unit_of_bits(std::uint32_t bits) {
    constexpr float kTwoToMinus24 = 5.9604645e-8f; // floats below 1 hold 24 bits
    return static_cast<float>(bits >> 8) * kTwoToMinus24;
}

// A point of the key's sequence, by its number with the digits in reverse order; both coordinates
// in [0, 1).
constexpr Vec2 scrambled_pair(std::uint32_t place, std::uint64_t key) {
    const auto of_index = static_cast<std::uint32_t>(key);
    const auto of_x = static_cast<std::uint32_t>(key >> 32);
    const std::uint32_t of_y = (of_index ^ of_x * 0x9E3779B9u) + 0x7F4A7C15u;
    const std::uint32_t first = reverse_bits(scramble_reversed(place, of_index));
    const std::uint32_t x = scramble_reversed(first, of_x);
    const std::uint32_t y = scramble_reversed(second_dimension(first), of_y);
    const std::uint64_t both = reverse_all_bits(std::uint64_t{x} << 32 | y);
    return {unit_of_bits(static_cast<std::uint32_t>(both)),
            unit_of_bits(static_cast<std::uint32_t>(both >> 32))};
}

} // namespace mh
