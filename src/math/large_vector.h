// Vectors of many records, all of which their maker writes: new elements are left as the memory is, so
// that it is touched once and by all threads, and large arrays ask for large pages.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

namespace mh {

// Throws as operator new does.
void* AllocateLarge(std::size_t bytes);
void FreeLarge(void* memory, std::size_t bytes);

template<typename T>
struct LargeAllocator {
    using value_type = T;

    LargeAllocator() = default;

    template<typename U>
    LargeAllocator(const LargeAllocator<U>&) {} // NOLINT: allocators convert

    T* allocate(std::size_t count) {
        if (count > static_cast<std::size_t>(-1) / sizeof(T)) throw std::bad_array_new_length();
        return static_cast<T*>(AllocateLarge(count * sizeof(T)));
    }

    void deallocate(T* memory, std::size_t count) { FreeLarge(memory, count * sizeof(T)); }

    template<typename... Values>
    void construct(T* place, Values&&... values) {
        static_assert(std::is_aggregate_v<T> && std::is_trivially_copyable_v<T>);
        if constexpr (sizeof...(values) > 0) ::new (place) T(std::forward<Values>(values)...);
    }

    bool operator==(const LargeAllocator&) const { return true; }
};

template<typename T>
using LargeVector = std::vector<T, LargeAllocator<T>>;

} // namespace mh
