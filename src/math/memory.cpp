// Size of the machine's memory.
// SPDX-License-Identifier: MIT
#include "math/memory.h"

#include <algorithm>
#include <fstream>
#include <limits>

#include <unistd.h>

namespace mh {

namespace {

// Infinite without a limit: the file is missing or holds a word.
double group_limit() {
    double bytes = 0.0;
    const bool limited = bool(std::ifstream("/sys/fs/cgroup/memory.max") >> bytes);
    return limited ? bytes : std::numeric_limits<double>::infinity();
}

} // namespace

double MachineMemory() {
    const double present =
        static_cast<double>(sysconf(_SC_PHYS_PAGES)) * static_cast<double>(sysconf(_SC_PAGESIZE));
    return std::min(present, group_limit());
}

} // namespace mh
