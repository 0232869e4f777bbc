// What ends a render early or makes it write: signals and the clock.
// SPDX-License-Identifier: MIT
#pragma once

#include <optional>

namespace mh {

// SIGINT and SIGTERM ask for an end, and the second one ends the process at once; SIGHUP asks for
// the pictures.
void CatchSignals();

bool is_interrupted();

// Whether SIGHUP has come since the last call.
bool take_write_request();

// Seconds since the program started.
double seconds_running();

// True once per interval: when at least so many seconds have passed since it was last true.
bool is_due(const std::optional<double>& interval_s, double& last_s);

} // namespace mh
