// The commands "check" and "info": what a scene lacks, and what it holds.
// SPDX-License-Identifier: MIT
#pragma once

#include "options.h"

namespace mh {

// Both return the exit status of the program.
int CheckScene(const Arguments& arguments);
int DescribeScene(const Arguments& arguments);

} // namespace mh
