// Memory of large vectors.
// SPDX-License-Identifier: MIT
#include "math/large_vector.h"

#include <sys/mman.h>

namespace mh {

namespace {

constexpr std::size_t kLargePage = std::size_t{1} << 21;
constexpr std::size_t kCacheLine = 64;

std::align_val_t alignment_of(std::size_t bytes) {
    return std::align_val_t{bytes < kLargePage ? kCacheLine : kLargePage};
}

} // namespace

// Asks before the memory is first touched. Where large pages are refused small ones do.
void* AllocateLarge(std::size_t bytes) {
    void* const memory = ::operator new(bytes, alignment_of(bytes));
    if (bytes >= kLargePage) madvise(memory, bytes - bytes % kLargePage, MADV_HUGEPAGE);
    return memory;
}

void FreeLarge(void* memory, std::size_t bytes) {
    ::operator delete(memory, alignment_of(bytes));
}

} // namespace mh
