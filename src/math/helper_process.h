// Helper programs, which read files of others in a process of their own: started with a pipe from
// their standard output and nothing else of the caller.
// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include <sys/types.h>
#include <unistd.h>

namespace mh {

struct HelperProcess {
    pid_t pid = -1;
    int pipe = -1; // its standard output
};

using HelperClock = std::chrono::steady_clock::time_point;

enum class Received { whole, cut, late };

// Where a helper program is, by its path below the prefix: beside the folder of libraries or
// programs, or one above it where libraries have a folder for each architecture. Empty when it is
// not installed. Access as of access(2).
std::string InstalledHelper(const std::string& name, int mode = X_OK);

// The program and its arguments. Returns why it does not run, or an empty text.
std::string StartHelper(const std::vector<std::string>& command, HelperProcess& helper);

// Fills all bytes, or as many as there are at a time; `cut` at the end of the pipe.
Received Receive(const HelperProcess& helper, std::span<std::byte> bytes, HelperClock deadline);
Received ReceiveSome(const HelperProcess& helper, std::span<std::byte> room, HelperClock deadline,
                     std::size_t& count);

// Ends it, whatever it is doing.
void EndHelper(const HelperProcess& helper);

} // namespace mh
