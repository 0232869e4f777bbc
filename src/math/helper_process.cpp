// Starting of helper programs, and taking of bytes from their pipes.
// SPDX-License-Identifier: MIT
#include "math/helper_process.h"

#include "math/at.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>

#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace mh {

namespace {

using Path = std::filesystem::path;

// The file that holds this code: the library, or the program that has it built in.
Path own_file() {
    Dl_info info = {};
    link_map* map = nullptr;
    void* extra = nullptr;
    if (dladdr1(reinterpret_cast<const void*>(&InstalledHelper), &info, &extra, RTLD_DL_LINKMAP)
        != 0)
        map = static_cast<link_map*>(extra);
    const bool library = map != nullptr && map->l_name != nullptr && map->l_name[0] != '\0';
    std::error_code none;
    return std::filesystem::canonical(library ? map->l_name : "/proc/self/exe", none);
}

// Nothing of the host reaches the helper: no open files but the pipe, no signal handling.
pid_t spawn(const std::string& program, std::vector<std::string> arguments, int pipe_end) {
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_adddup2(&files, pipe_end, STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&files, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addclosefrom_np(&files, STDERR_FILENO + 1);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t signals;
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes, &signals);
    sigfillset(&signals);
    posix_spawnattr_setsigdefault(&attributes, &signals);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    std::vector<char*> pointers;
    for (std::string& argument : arguments)
        pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    pid_t process = -1;
    const int fault =
        posix_spawn(&process, program.c_str(), &files, &attributes, pointers.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&files);
    errno = fault;
    return fault == 0 ? process : -1;
}

} // namespace

std::string InstalledHelper(const std::string& name, int mode) {
    std::error_code none;
    const Path folder = own_file().parent_path();
    for (const char* up : {"..", "../.."}) {
        const Path program = folder / up / name;
        if (access(program.c_str(), mode) == 0) return program;
    }
    return {};
}

std::string StartHelper(const std::vector<std::string>& command, HelperProcess& helper) {
    std::array<int, 2> ends = {};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) return std::strerror(errno);
    helper.pid = spawn(command[0], command, ends[1]);
    const int reason = errno;
    close(ends[1]);
    helper.pipe = ends[0];
    if (helper.pid > 0) return {};
    close(helper.pipe);
    return "needs " + command[0] + ": " + std::strerror(reason);
}

Received ReceiveSome(const HelperProcess& helper, std::span<std::byte> room, HelperClock deadline,
                     std::size_t& count) {
    using std::chrono::milliseconds;
    for (count = 0;;) {
        const auto left =
            std::chrono::duration_cast<milliseconds>(deadline - std::chrono::steady_clock::now())
                .count();
        pollfd ready = {helper.pipe, POLLIN, 0};
        if (left <= 0) return Received::late;
        if (poll(&ready, 1, static_cast<int>(std::min<long>(left, 1000))) <= 0) continue;
        const ssize_t got = read(helper.pipe, room.data(), room.size());
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return Received::cut;
        count = to_size(got);
        return Received::whole;
    }
}

Received Receive(const HelperProcess& helper, std::span<std::byte> bytes, HelperClock deadline) {
    while (!bytes.empty()) {
        std::size_t count = 0;
        const Received received = ReceiveSome(helper, bytes, deadline, count);
        if (received != Received::whole) return received;
        bytes = bytes.subspan(count);
    }
    return Received::whole;
}

void EndHelper(const HelperProcess& helper) {
    close(helper.pipe);
    kill(helper.pid, SIGKILL); // it has said all that counts
    while (waitpid(helper.pid, nullptr, 0) < 0 && errno == EINTR) {
    }
}

} // namespace mh
