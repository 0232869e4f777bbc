// Hash table that finds equal records: vertices of a mesh, positions of a part. It holds indices
// only; hash and equality come from the caller, results do not depend on the hash.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/hash.h"
#include "math/vec3.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace mh {

struct WeldSlot {
    std::uint32_t hash = 0;
    std::uint32_t index = 0xFFFFFFFFu; // all bits set: free
};

// Open addressing with linear probing, at most half full.
struct WeldTable {
    std::vector<WeldSlot> slots; // a power of two
    std::size_t used = 0;
};

// Makes room for so many records; keeps what is there.
void Grow(WeldTable& table, std::size_t records);

// Bits of a float with both zeros alike, so that equal numbers have equal bits; a NaN equals
// itself.
constexpr std::uint32_t value_bits(float x) {
    return x == 0.0f ? 0u : std::bit_cast<std::uint32_t>(x);
}

constexpr bool same_value(float a, float b) {
    return value_bits(a) == value_bits(b);
}

constexpr bool same_value(const Vec2& a, const Vec2& b) {
    return same_value(a.x, b.x) && same_value(a.y, b.y);
}

constexpr bool same_value(const Vec3& a, const Vec3& b) {
    return same_value(a.x, b.x) && same_value(a.y, b.y) && same_value(a.z, b.z);
}

constexpr std::uint64_t hash_value(float x) {
    return mix_bits(value_bits(x));
}

constexpr std::uint64_t hash_value(const Vec2& p) {
    return mix_bits((std::uint64_t{value_bits(p.x)} << 32) | value_bits(p.y));
}

constexpr std::uint64_t hash_value(const Vec3& p) {
    return mix_bits(hash_value(Vec2{p.x, p.y}) + value_bits(p.z));
}

// The index of a record that is_equal accepts, or `index` after it was added.
template<typename Equal>
std::uint32_t find_or_add(WeldTable& table, std::uint64_t hash, std::uint32_t index,
                          const Equal& is_equal) {
    if (2 * (table.used + 1) > table.slots.size()) Grow(table, 2 * (table.used + 1));
    const std::size_t mask = table.slots.size() - 1;
    const WeldSlot wanted = {static_cast<std::uint32_t>(hash), index};
    for (std::size_t i = wanted.hash & mask;; i = (i + 1) & mask) {
        WeldSlot& slot = table.slots[i];
        if (slot.index == WeldSlot{}.index) {
            slot = wanted;
            ++table.used;
            return index;
        }
        if (slot.hash == wanted.hash && is_equal(slot.index)) return slot.index;
    }
}

} // namespace mh
