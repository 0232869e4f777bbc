// Signals and the clock.
// SPDX-License-Identifier: MIT
#include "run_control.h"

#include "options.h"
#include "output/run_hooks.h"

#include <chrono>
#include <csignal>

#include <unistd.h>

namespace mh {

namespace {

using Clock = std::chrono::steady_clock;
const Clock::time_point kStarted = Clock::now();

volatile std::sig_atomic_t interrupts = 0;
volatile std::sig_atomic_t write_requests = 0;

void note_interrupt(int) {
    if (interrupts > 0) _exit(kInterrupted);
    interrupts = 1;
    Hooks.stop = true; // lock-free
}

void note_write_request(int) {
    write_requests = 1;
}

void catch_signal(int signal, void (*handler)(int)) {
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigaction(signal, &action, nullptr);
}

} // namespace

void CatchSignals() {
    catch_signal(SIGINT, note_interrupt);
    catch_signal(SIGTERM, note_interrupt);
    catch_signal(SIGHUP, note_write_request);
}

bool is_interrupted() {
    return interrupts > 0;
}

bool take_write_request() {
    const bool requested = write_requests > 0;
    write_requests = 0;
    return requested;
}

double seconds_running() {
    return std::chrono::duration<double>(Clock::now() - kStarted).count();
}

bool is_due(const std::optional<double>& interval_s, double& last_s) {
    const double now_s = seconds_running();
    if (!interval_s || now_s - last_s < *interval_s) return false;
    last_s = now_s;
    return true;
}

} // namespace mh
