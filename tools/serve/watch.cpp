// Changes of a scene's files.
// SPDX-License-Identifier: MIT
#include "serve/watch.h"

#include "files.h"
#include "json_text.h"
#include "math/helper_process.h"
#include "serve/requests.h"
#include "serve/session.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace mh {

namespace {

namespace fs = std::filesystem;
using std::chrono::seconds;

constexpr int kPause_ms = 200;          // an editor writes more than one file
constexpr auto kPatience = seconds(60); // for a check
constexpr std::uint32_t kChanges =
    IN_CLOSE_WRITE | IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;

std::jthread watcher;

// Folders that are there already are watched once.
void add_folders(int watch, const std::string& scene) {
    inotify_add_watch(watch, scene.c_str(), kChanges);
    std::error_code fault;
    const auto all = fs::recursive_directory_iterator(
        scene, fs::directory_options::skip_permission_denied, fault);
    if (fault) return;
    for (const fs::directory_entry& entry : all)
        if (entry.is_directory(fault)) inotify_add_watch(watch, entry.path().c_str(), kChanges);
}

// Whether something has changed within the time.
bool has_changed(int watch, int milliseconds) {
    pollfd ready = {watch, POLLIN, 0};
    if (poll(&ready, 1, milliseconds) <= 0) return false;
    alignas(inotify_event) std::array<char, 4096> events;
    while (read(watch, events.data(), events.size()) > 0) {
    }
    return true;
}

// What "check --json" prints, in a process of its own: the scene of this one stays as it is.
Json check(const Arguments& arguments) {
    std::error_code fault;
    std::vector<std::string> command = {fs::read_symlink("/proc/self/exe", fault).string(), "check",
                                        "--json", arguments.scene};
    if (arguments.confine) command.emplace_back("--confine");
    HelperProcess helper;
    if (!StartHelper(command, helper).empty()) return {};
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    std::string text;
    for (std::array<std::byte, 4096> bytes;;) {
        std::size_t count = 0;
        if (ReceiveSome(helper, bytes, deadline, count) != Received::whole) break;
        text.append(reinterpret_cast<const char*>(bytes.data()), count);
    }
    EndHelper(helper);
    return Json::parse(text, nullptr, false);
}

bool has_faults(const Json& found) {
    const Json& faults = found["faults"];
    return std::any_of(faults.begin(), faults.end(),
                       [](const Json& fault) { return fault["severity"] == "fault"; });
}

void look_at_scene(const Arguments& arguments) {
    const Json found = check(arguments);
    if (!found.is_object() || !found.contains("faults"))
        return Complain("the scene has changed, but moonhare check has not ended as it should");
    if (has_faults(found)) return ShowFaults(found);
    Reread(found);
}

void watch_scene(const std::stop_token& end, const Arguments& arguments) {
    const int watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (watch < 0) return Complain(std::string("--watch does not work: ") + std::strerror(errno));
    add_folders(watch, arguments.scene);
    while (!end.stop_requested()) {
        if (!has_changed(watch, kPause_ms)) continue;
        while (has_changed(watch, kPause_ms) && !end.stop_requested()) {
        }
        add_folders(watch, arguments.scene);
        look_at_scene(arguments);
    }
    close(watch);
}

} // namespace

void StartWatching(const Arguments& arguments) {
    watcher =
        std::jthread([&arguments](const std::stop_token& end) { watch_scene(end, arguments); });
}

void EndWatching() {
    watcher = {};
}

} // namespace mh
