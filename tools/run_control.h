// What ends a render early or makes it write: signals, the clock, and a thread that watches both
// while frames are under way.
// SPDX-License-Identifier: MIT
#pragma once

#include <optional>

namespace mh {

struct RunControl {
    std::optional<double> time_limit_s;
    void (*during_frame)() = nullptr; // called again and again inside of frames, on another thread
    void (*at_all_times)() = nullptr; // the same, whatever is under way
};

// Catches signals and starts to watch. SIGINT and SIGTERM ask for an end: the first lets the frame
// under way end within half a second, the second cuts it at once, the third ends the process.
// SIGXCPU, SIGUSR1 and SIGALRM cut it at once. SIGHUP asks for the pictures. A pipe that nobody
// reads and a file that grows too large are faults of one write.
void StartControl(const RunControl& control);
void EndControl();

// Until FramesBegin nothing is there to be saved: where the run doesn't end within half a second
// of the request, the process does. After EndingBegins only a signal can end it.
void FramesBegin();
void EndingBegins();

bool is_interrupted();

bool is_time_up();

// Whether SIGHUP has come since the last call.
bool take_write_request();

// Seconds since the program started.
double seconds_running();

// True once per interval: when at least so many seconds have passed since it was last true.
bool is_due(const std::optional<double>& interval_s, double& last_s);

} // namespace mh
