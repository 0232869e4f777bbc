// The commands "check" and "info": what a scene lacks, and what it holds.
// SPDX-License-Identifier: MIT
#pragma once

#include "fault.h"
#include "json_text.h"
#include "options.h"

#include <vector>

namespace mh {

// What a scene is found to lack while it is opened for a render by the estimator of the options;
// the report of its reading goes to standard output.
std::vector<Fault> OpenChecked(const Arguments& arguments);

// The object that "check --json" prints.
Json FaultsJson(const std::vector<Fault>& faults);

// "3 faults, 2 warnings; moonhare check room lists them"; empty without any.
std::string SummaryOf(const std::vector<Fault>& faults, const std::string& scene);

// kSceneFaults when a fault is among them, or, by strict rules, a warning.
int StatusOf(const std::vector<Fault>& faults, bool strict);

// Both return the exit status of the program.
int CheckScene(const Arguments& arguments);
int DescribeScene(const Arguments& arguments);

} // namespace mh
