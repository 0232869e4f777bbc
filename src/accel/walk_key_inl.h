// Entries of a walk's stack.
// SPDX-License-Identifier: MIT
#pragma once

#include "accel/walk_types.h"

namespace mh {
namespace {

// Ordered by entry distance, then by slot: the bits of the distance without the sign, which is
// positive, three bits of slot, and the reference to the child.
using StackKey = std::uint64_t;

constexpr int kKeyShift = 33;
constexpr int kSlotShift = 30;

inline StackKey stack_key(std::uint32_t high, unsigned slot, std::uint32_t child) {
    return static_cast<StackKey>(high) << kKeyShift | static_cast<StackKey>(slot) << kSlotShift
           | child;
}

inline unsigned slot_of(StackKey key) {
    return static_cast<unsigned>(key >> kSlotShift) & 7u;
}

// With two bits of the slot on top.
inline std::uint32_t reference_of(StackKey key) {
    return static_cast<std::uint32_t>(key);
}

} // namespace
} // namespace mh
