// Growth of the weld table.
// SPDX-License-Identifier: MIT
#include "geometry/weld_table.h"

#include <algorithm>
#include <utility>

namespace mh {

void Grow(WeldTable& table, std::size_t records) {
    constexpr std::size_t kSmallest = 64;
    const std::size_t size = std::bit_ceil(std::max(2 * records, kSmallest));
    if (size <= table.slots.size()) return;
    const std::vector<WeldSlot> old = std::exchange(table.slots, std::vector<WeldSlot>(size));
    for (const WeldSlot& slot : old) {
        if (slot.index == WeldSlot{}.index) continue;
        std::size_t i = slot.hash & (size - 1);
        while (table.slots[i].index != WeldSlot{}.index)
            i = (i + 1) & (size - 1);
        table.slots[i] = slot;
    }
}

} // namespace mh
