// Memory, against which sizes that come from input are checked before anything is allocated.
// SPDX-License-Identifier: MIT
#pragma once

namespace mh {

// Bytes that the machine has, or its control groups may use.
double MachineMemory();

// Bytes that can be taken now without swapping; file cache counts as free.
double AvailableMemory();

// The same, less a reserve, without which a machine stops; 16 MB at least.
double SpareMemory();

// Whether so many bytes are spare.
bool FitsMemory(double bytes);

// Bytes that the process holds.
double HeldMemory();

} // namespace mh
