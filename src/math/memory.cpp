// Memory of the machine and of the control groups that the process runs in.
// SPDX-License-Identifier: MIT
#include "math/memory.h"

#include "math/control_group.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <string>

#include <unistd.h>

namespace mh {

namespace {

constexpr double kMegabyte = 1048576.0;
constexpr double kSmall = 16.0 * kMegabyte; // always fits

double page_bytes() {
    return static_cast<double>(sysconf(_SC_PAGESIZE));
}

double of_machine(const std::string& entry) {
    constexpr double kBytesOfKilobyte = 1024.0;
    std::ifstream file(SystemRoot + "/proc/meminfo");
    std::string word;
    double kilobytes = 0.0;
    while (file >> word)
        if (word == entry && file >> kilobytes) return kBytesOfKilobyte * kilobytes;
    return static_cast<double>(sysconf(_SC_PHYS_PAGES)) * page_bytes();
}

double limit_of(const std::string& group) {
    return std::min(SystemNumber(group + "/memory.max"),
                    SystemNumber(group + "/memory.limit_in_bytes"));
}

// File cache and the like, which is freed for whoever asks for memory. Version 1 counts the groups
// within a group in totals of their own.
double reclaimable_of(const std::string& group) {
    std::ifstream file(SystemRoot + group + "/memory.stat");
    double own = 0.0, total = 0.0, bytes = 0.0;
    for (std::string name; file >> name >> bytes;) {
        if (name == "inactive_file" || name == "active_file" || name == "slab_reclaimable")
            own += bytes;
        if (name == "total_inactive_file" || name == "total_active_file") total += bytes;
    }
    return std::max(own, total);
}

double used_of(const std::string& group) {
    const double used = std::min(SystemNumber(group + "/memory.current"),
                                 SystemNumber(group + "/memory.usage_in_bytes"));
    return used < std::numeric_limits<double>::infinity() ? used - reclaimable_of(group) : 0.0;
}

void* reserve = nullptr;

void release_reserve() {
    if (reserve == nullptr) throw std::bad_alloc();
    std::free(reserve);
    reserve = nullptr;
}

} // namespace

MemoryReserve::MemoryReserve() : before(std::set_new_handler(release_reserve)) {
    constexpr std::size_t kReserve = 65536;
    reserve = std::malloc(kReserve);
}

MemoryReserve::~MemoryReserve() {
    std::set_new_handler(before);
    std::free(reserve);
    reserve = nullptr;
}

double MachineMemory() {
    double bytes = of_machine("MemTotal:");
    for (const std::string& group : ControlGroups("memory"))
        bytes = std::min(bytes, limit_of(group));
    return bytes;
}

double AvailableMemory() {
    double bytes = of_machine("MemAvailable:");
    for (const std::string& group : ControlGroups("memory")) {
        const double limit = limit_of(group);
        if (limit < std::numeric_limits<double>::infinity())
            bytes = std::min(bytes, limit - used_of(group));
    }
    return bytes;
}

double SpareMemory() {
    constexpr double kReserve = 1.0 / 16.0, kMostReserve = 256.0 * kMegabyte;
    const double kept_free = std::min(kReserve * MachineMemory(), kMostReserve);
    return std::max(AvailableMemory() - kept_free, kSmall);
}

bool FitsMemory(double bytes) {
    return bytes <= kSmall || bytes <= SpareMemory();
}

double HeldMemory() {
    std::ifstream file("/proc/self/statm");
    double reserved_pages = 0.0, held_pages = 0.0;
    file >> reserved_pages >> held_pages;
    return held_pages * page_bytes();
}

} // namespace mh
