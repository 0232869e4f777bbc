// A 64-bit digest of bytes: words are multiplied in, as in FNV-1a [Fowler91], and mixed by the
// finaliser of splitmix64 [Steele14].
// SPDX-License-Identifier: MIT
#include "math/digest.h"

#include <cstring>

namespace mh {

namespace {

std::uint64_t mixed(std::uint64_t x) {
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9u;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBu;
    return x ^ (x >> 31);
}

} // namespace

void add(Digest& digest, std::string_view bytes) {
    constexpr std::uint64_t kPrime = 0x100000001B3u;
    std::uint64_t value = digest.value ^ mixed(bytes.size() + 1);
    while (!bytes.empty()) {
        std::uint64_t word = 0;
        const std::size_t size = bytes.size() < sizeof word ? bytes.size() : sizeof word;
        std::memcpy(&word, bytes.data(), size);
        value = (value ^ word) * kPrime;
        value ^= value >> 29;
        bytes.remove_prefix(size);
    }
    digest.value = mixed(value);
}

} // namespace mh
