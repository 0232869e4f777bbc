/* Preloaded: allocation number FAIL_AT of the process returns nothing. At its end the process
 * writes the number of its allocations to the file COUNT_TO. Below a host those of the OpenMP
 * runtime and of its threads do not count: it ends the process by itself.
 * SPDX-License-Identifier: MIT */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static long count;
static int is_off;

/* A host counts from here on, or no more: what the loader does before main is not its own. */
void count_allocations(int on) {
    is_off = !on;
    if (on) count = 0;
}

static int fails(void* caller) {
    Dl_info info;
    static long fail_at = -1;
    if (fail_at < 0) {
        fail_at = getenv("FAIL_AT") ? atol(getenv("FAIL_AT")) : 0;
        is_off = getenv("HOST_COUNTS") != NULL;
    }
    if (is_off) return 0;
    if (dladdr(caller, &info)
        && (strstr(info.dli_fname, "libgomp") || strstr(info.dli_fname, "ld-linux")))
        return 0;
    if (__atomic_add_fetch(&count, 1, __ATOMIC_RELAXED) != fail_at) return 0;
    errno = ENOMEM;
    return 1;
}

#define REPLACE(name, parameters, arguments)                                                       \
    void* name parameters {                                                                        \
        static void*(*next)parameters;                                                             \
        if (!next) *(void**)&next = dlsym(RTLD_NEXT, #name);                                       \
        return fails(__builtin_return_address(0)) ? NULL : next arguments;                         \
    }

REPLACE(malloc, (size_t size), (size))
REPLACE(calloc, (size_t number, size_t size), (number, size))
REPLACE(realloc, (void* memory, size_t size), (memory, size))
REPLACE(aligned_alloc, (size_t alignment, size_t size), (alignment, size))
/* What a program calls that replaces the functions above. */
REPLACE(__libc_malloc, (size_t size), (size))
REPLACE(__libc_calloc, (size_t number, size_t size), (number, size))
REPLACE(__libc_realloc, (void* memory, size_t size), (memory, size))
REPLACE(__libc_memalign, (size_t alignment, size_t size), (alignment, size))

__attribute__((destructor)) static void write_count(void) {
    FILE* file = getenv("COUNT_TO") ? fopen(getenv("COUNT_TO"), "w") : NULL;
    if (!file) return;
    fprintf(file, "%ld", count);
    fclose(file);
}
