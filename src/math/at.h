// Records by their numbers, and sizes from plain integers.
// SPDX-License-Identifier: MIT
#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace mh {

// Numbers and extents are plain integers or enumerators here, at least 0; the standard library's
// are unsigned.
template<typename Number>
constexpr std::size_t to_size(Number number) {
    static_assert(std::is_integral_v<Number> || std::is_enum_v<Number>);
    assert(static_cast<std::int64_t>(number) >= 0);
    return static_cast<std::size_t>(number);
}

// Values of a grid stand row by row.
constexpr std::size_t grid_size(std::int64_t width, std::int64_t height) {
    return to_size(width) * to_size(height);
}

constexpr std::size_t grid_place(std::int64_t x, std::int64_t y, std::int64_t width) {
    return grid_size(width, y) + to_size(x);
}

// Record number `index`: numbers of records are plain integers, in which -1 stands for none.
template<typename Records, typename Index>
constexpr decltype(auto) at(Records& records, Index index) {
    return records[to_size(index)];
}

template<typename Records>
constexpr bool has_record(const Records& records, std::int64_t index) {
    return index >= 0 && to_size(index) < records.size();
}

} // namespace mh
