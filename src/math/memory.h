// Memory, against which sizes that come from input are checked before anything is allocated.
// SPDX-License-Identifier: MIT
#pragma once

namespace mh {

// Bytes that the machine has, or its control group may use.
double MachineMemory();

// Bytes that can be taken now without swapping.
double AvailableMemory();

} // namespace mh
