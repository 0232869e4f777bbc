// What this build is.
// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace mh {

std::string ProgramVersion(); // "0.1.0"
std::string CommitName();     // short name of the commit, or "unknown"
std::string CompilerName();
std::string InstructionSet(); // of the walks on this processor
std::string MachineName();

} // namespace mh
