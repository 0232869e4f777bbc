// Memory, against which sizes that come from input are checked before anything is allocated.
// SPDX-License-Identifier: MIT
#pragma once

#include <new>

namespace mh {

// Bytes that the machine has, or its control groups may use.
double MachineMemory();

// Bytes that can be taken now without swapping; file cache counts as free.
double AvailableMemory();

// The same, less a reserve, without which a machine stops; 16 MB at least.
double SpareMemory();

// Whether so many bytes are spare.
bool FitsMemory(double bytes);

// Around calls of libraries that do not look at what `new` returns: one that fails has a second try
// out of a reserve. For one thread at a time.
struct MemoryReserve {
    MemoryReserve();
    ~MemoryReserve();
    MemoryReserve(const MemoryReserve&) = delete;
    MemoryReserve& operator=(const MemoryReserve&) = delete;

    std::new_handler before;
};

// Bytes that the process holds.
double HeldMemory();

} // namespace mh
