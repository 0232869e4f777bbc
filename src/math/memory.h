// Size of the machine's memory, against which sizes that come from input are checked.
// SPDX-License-Identifier: MIT
#pragma once

namespace mh {

// Bytes that this process may use: the machine's memory, or less under a limit of its control group.
double MachineMemory();

} // namespace mh
