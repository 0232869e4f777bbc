// Signals and the clock.
// SPDX-License-Identifier: MIT
#include "run_control.h"

#include "files.h"
#include "integrate/whole_frames.h"
#include "math/stop.h"
#include "options.h"
#include "output/run_hooks.h"
#include "output/state.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <mutex>
#include <string_view>
#include <thread>

#include <unistd.h>

namespace mh {

namespace {

using Clock = std::chrono::steady_clock;
const Clock::time_point kStarted = Clock::now();

constexpr auto kWatchInterval = std::chrono::milliseconds(20);
constexpr double kPatience_s = 0.5; // for a frame to end, and for what does not poll the request

// As wide as the bar of the progress, over which it may be written.
constexpr std::string_view kFinishing =
    "moonhare: stopping; the frame under way gets half a second, or interrupt again to drop it\n";

enum class Stage { before_frames, frames, ending };

std::atomic<int> interrupts = 0;
std::atomic<bool> write_requested = false;
std::atomic<Stage> stage = Stage::before_frames;
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<Stage>::is_always_lock_free);

RunControl control;
std::jthread watcher;

void note_interrupt(int) {
    const int before = interrupts.fetch_add(1);
    if (before >= 2) _exit(kInterrupted);
    if (before == 1 || stage == Stage::before_frames) StopRequested = true;
    if (before > 0 || stage != Stage::frames) return;
    [[maybe_unused]] const ssize_t written =
        write(STDERR_FILENO, kFinishing.data(), kFinishing.size());
}

// These come again each second: they do not count.
void note_end(int) {
    int none = 0;
    interrupts.compare_exchange_strong(none, 1);
    StopRequested = true;
}

void note_write_request(int) {
    write_requested = true;
}

void catch_signal(int signal, void (*handler)(int)) {
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigaction(signal, &action, nullptr);
}

void catch_signals() {
    for (const int signal : {SIGINT, SIGTERM})
        catch_signal(signal, note_interrupt);
    for (const int signal : {SIGXCPU, SIGUSR1, SIGALRM})
        catch_signal(signal, note_end);
    catch_signal(SIGHUP, note_write_request);
    for (const int signal : {SIGPIPE, SIGXFSZ})
        catch_signal(signal, SIG_IGN);
}

void end_without_frames() {
    Complain("the run ended before its first frame; nothing was written");
    _exit(kInterrupted);
}

void watch(const std::stop_token& ended) {
    std::mutex lock;
    std::condition_variable_any wake;
    std::optional<double> asked_s; // when an end was first asked for
    std::unique_lock guard(lock);
    while (!wake.wait_for(guard, ended, kWatchInterval, [&] { return ended.stop_requested(); })) {
        if (!asked_s && (is_interrupted() || is_time_up())) asked_s = seconds_running();
        const bool impatient = asked_s && seconds_running() - *asked_s > kPatience_s;
        if (impatient || is_time_up()) StopRequested = true;
        if (impatient && stage == Stage::before_frames) end_without_frames();
        DuringFrame(control.during_frame);
        control.at_all_times();
    }
}

} // namespace

void StartControl(const RunControl& given) {
    control = given;
    catch_signals();
    watcher = std::jthread(watch);
}

void EndControl() {
    watcher.request_stop();
    watcher.join();
}

void FramesBegin() {
    stage = Stage::frames;
}

void EndingBegins() {
    stage = Stage::ending;
}

bool is_interrupted() {
    return interrupts > 0;
}

bool is_time_up() {
    return control.time_limit_s && seconds_running() > *control.time_limit_s;
}

bool take_write_request() {
    return write_requested.exchange(false);
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
