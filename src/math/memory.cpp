// Memory of the machine and of the control group that the process runs in.
// SPDX-License-Identifier: MIT
#include "math/memory.h"

#include <algorithm>
#include <fstream>
#include <limits>
#include <string>

#include <unistd.h>

namespace mh {

namespace {

// The number that a file starts with; infinite where it is missing or holds a word.
double number_in(const char* file) {
    double number = 0.0;
    const bool read = bool(std::ifstream(file) >> number);
    return read ? number : std::numeric_limits<double>::infinity();
}

double free_of_machine() {
    constexpr double kBytesOfKilobyte = 1024.0;
    std::ifstream file("/proc/meminfo");
    std::string word;
    double kilobytes = 0.0;
    while (file >> word)
        if (word == "MemAvailable:" && file >> kilobytes) return kBytesOfKilobyte * kilobytes;
    return MachineMemory();
}

double held_memory() {
    std::ifstream file("/proc/self/statm");
    double reserved_pages = 0.0, held_pages = 0.0;
    file >> reserved_pages >> held_pages;
    return held_pages * static_cast<double>(sysconf(_SC_PAGESIZE));
}

double group_limit() {
    return number_in("/sys/fs/cgroup/memory.max");
}

} // namespace

double MachineMemory() {
    const double present =
        static_cast<double>(sysconf(_SC_PHYS_PAGES)) * static_cast<double>(sysconf(_SC_PAGESIZE));
    return std::min(present, group_limit());
}

double AvailableMemory() {
    const double limit = group_limit();
    if (limit == std::numeric_limits<double>::infinity()) return free_of_machine();
    return std::min(free_of_machine(), limit - number_in("/sys/fs/cgroup/memory.current"));
}

double SpareMemory() {
    constexpr double kKeptFree = 1.0 / 16.0;
    return AvailableMemory() - kKeptFree * MachineMemory();
}

bool FitsMemory(double bytes) {
    return bytes <= SpareMemory();
}

bool MayGrow() {
    return FitsMemory(held_memory());
}

} // namespace mh
