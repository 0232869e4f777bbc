// What control groups of version 1 and 2 allow the process.
// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace mh {

// Prefix of the names of the system's files; empty except in tests.
extern std::string SystemRoot;

// The number that a file of the system starts with; infinite where it is missing or holds a word.
double SystemNumber(const std::string& file);

// Folders of the groups that may limit a resource, "memory" or "cpu": the process's own and those
// around it.
std::vector<std::string> ControlGroups(const std::string& resource);

// Processors that the smallest quota allows; infinite without one.
double ProcessorQuota();

} // namespace mh
