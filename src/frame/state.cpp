// The state of this folder.
// SPDX-License-Identifier: MIT
#include "frame/state.h"

namespace mh {

HostProgress Progress;
std::set<std::pair<std::string, HostFault>> ReportedFaults;
bool ImageLibraryStarted = false;

} // namespace mh
