// Memory, against which sizes that come from input are checked before anything is allocated.
// SPDX-License-Identifier: MIT
#pragma once

namespace mh {

// Bytes that the machine has, or its control group may use.
double MachineMemory();

// Bytes that can be taken now without swapping.
double AvailableMemory();

// The same, less a sixteenth of what the machine has, which stays free: a machine without any stops.
double SpareMemory();

// Whether so many bytes are spare.
bool FitsMemory(double bytes);

// Whether the process may become twice as large: vectors that grow hold their content twice for a
// moment.
bool MayGrow();

} // namespace mh
