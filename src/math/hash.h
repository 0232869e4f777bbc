// Mixing of bits: keys of random streams and of scrambled sequences.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace mh {

// A bijection in which every bit of the result depends on every bit of x [Stafford11], variant 13.
constexpr std::uint64_t mix_bits(std::uint64_t x) {
    x ^= x >> 30;
    x *= 0xBF58476D1CE4E5B9u;
    x ^= x >> 27;
    x *= 0x94D049BB133111EBu;
    return x ^ x >> 31;
}

// A key made of another and a number: its own for each pair of the two [Steele14].
constexpr std::uint64_t derive_key(std::uint64_t key, std::uint64_t number) {
    constexpr std::uint64_t kGoldenRatio = 0x9E3779B97F4A7C15u; // of 2^64
    return mix_bits(key + kGoldenRatio * (number + 1));
}

// Both halves of the product by an odd random factor, which is a universal hash of x
// [Dietzfelbinger97]: cheaper than mix_bits, for an x that is random itself.
constexpr std::uint64_t fold_product(std::uint64_t x, std::uint64_t factor) {
    __extension__ using Product = unsigned __int128;
    const Product product = static_cast<Product>(x) * factor;
    return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

} // namespace mh
