// The end of the program when memory has run out. An allocation that returns nothing crashes or
// ends many of the libraries below this one, each in its own way: so none does. Files are written
// under another name first, and stay whole.
// SPDX-License-Identifier: MIT
#include "options.h"

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include <unistd.h>

// The C library's own functions, under the names that remain when a program replaces the usual
// ones.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
}

namespace {

[[noreturn]] void end_without_memory(std::size_t bytes) {
    char line[128] = {};
    std::snprintf(
        line, sizeof line,
        "%smoonhare: out of memory, %zu bytes more are needed; files written so far stay\n",
        isatty(STDERR_FILENO) != 0 ? "\n" : "", bytes);
    if (write(STDERR_FILENO, line, std::strlen(line)) < 0) _exit(mh::kNotWritten);
    _exit(mh::kNotWritten);
}

void* allocated(void* memory, std::size_t bytes) {
    if (memory == nullptr) end_without_memory(bytes);
    return memory;
}

} // namespace

extern "C" {

void* malloc(std::size_t size) {
    return allocated(__libc_malloc(size), size);
}

void* calloc(std::size_t count, std::size_t size) {
    return allocated(__libc_calloc(count, size), count * size);
}

void* realloc(void* memory, std::size_t size) {
    void* const larger = __libc_realloc(memory, size);
    return memory != nullptr && size == 0 ? larger : allocated(larger, size); // 0 frees
}

void* memalign(std::size_t alignment, std::size_t size) {
    return allocated(__libc_memalign(alignment, size), size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
    return memalign(alignment, size);
}

int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
    const bool is_power = alignment != 0 && (alignment & (alignment - 1)) == 0;
    if (!is_power || alignment % sizeof(void*) != 0) return EINVAL;
    *memory = memalign(alignment, size);
    return 0;
}

} // extern "C"
