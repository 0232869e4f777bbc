// Vectors of records that their maker writes in full: what resize() adds is left as the memory is,
// so that it is touched once, and by the threads that fill it.
// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

namespace mh {

template<typename T>
struct RawAllocator : std::allocator<T> {
    template<typename U>
    struct rebind { // NOLINT(readability-identifier-naming): the name that containers look for
        using other = RawAllocator<U>;
    };

    template<typename... Values>
    void construct(T* place, Values&&... values) {
        static_assert(std::is_aggregate_v<T> && std::is_trivially_copyable_v<T>);
        if constexpr (sizeof...(values) > 0) ::new (place) T(std::forward<Values>(values)...);
    }
};

template<typename T>
using RawVector = std::vector<T, RawAllocator<T>>;

} // namespace mh
