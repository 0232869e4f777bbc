// The state of a run, at the values a loaded library starts with.
// SPDX-License-Identifier: MIT
#include "run/state.h"

namespace mh {

RunStateRecord RunState;
bool PreviewWindow = false;
float DisplayGamma = 2.2f;
std::ostream* ReportStream = nullptr;

void ResetRun() {
    RunState = {};
}

} // namespace mh
