// Names of files that stand in a file of another program.
// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace mh {

// Whether a name leads out of the folder that it is relative to, by its text alone.
bool LeadsOutside(const std::string& name);

} // namespace mh
