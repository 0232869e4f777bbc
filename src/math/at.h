// Records by their numbers.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

namespace mh {

// Record number `index`: numbers of records are plain integers, in which -1 stands for none.
template<typename Records>
constexpr decltype(auto) at(Records& records, std::int64_t index) {
    return records[static_cast<std::size_t>(index)];
}

} // namespace mh
