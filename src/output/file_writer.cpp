// Writing of files. The temporary file is named by its target alone: the next writer of the target
// takes up what a killed one left. A lock, which ends with its process, tells a leftover from a
// file that is being written.
// SPDX-License-Identifier: MIT
#include "output/file_writer.h"

#include "math/at.h"
#include "math/digest.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mh {

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

struct TemporaryFile {
    std::string name;
    int descriptor = -1;

    explicit TemporaryFile(std::string file) : name(std::move(file)) {}

    ~TemporaryFile() {
        if (descriptor >= 0) close(descriptor);
    }

    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
};

// The file behind links, which need not exist.
fs::path target_of(const std::string& path) {
    std::error_code fault;
    if (!fs::is_symlink(path, fault)) return path;
    const fs::path target = fs::weakly_canonical(path, fault);
    return fault ? fs::path(path) : target;
}

// Short: a target may have the longest name that its file system allows.
std::string temporary_name(const fs::path& target) {
    Digest digest;
    add(digest, target.filename().string());
    std::array<char, 32> name = {};
    std::snprintf(name.data(), name.size(), "moonhare-%016llx.tmp",
                  static_cast<unsigned long long>(digest.value));
    return target.parent_path() / name.data();
}

// File systems without locks are written to all the same.
bool lock(int descriptor) {
    constexpr std::chrono::seconds kPatience(30);
    constexpr std::chrono::milliseconds kPause(5);
    const Clock::time_point deadline = Clock::now() + kPatience;
    while (flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR) return true;
        if (Clock::now() > deadline) return false;
        std::this_thread::sleep_for(kPause);
    }
    return true;
}

// Whoever held the lock before has renamed or removed the file by now.
bool is_still_named(const TemporaryFile& file) {
    struct stat opened = {}, named = {};
    return fstat(file.descriptor, &opened) == 0 && lstat(file.name.c_str(), &named) == 0
           && opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

// Empty on success.
std::string open_or_make(TemporaryFile& file) {
    constexpr mode_t kReadableByAll = 0666; // less the umask
    file.descriptor =
        open(file.name.c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC,
             kReadableByAll);
    return file.descriptor < 0 ? std::strerror(errno) : std::string();
}

// Empty on success, with the file empty and locked.
std::string open_locked(TemporaryFile& file) {
    constexpr int kMostTurns = 1000; // of others, between the opening and the lock
    for (int turn = 0; turn < kMostTurns; ++turn) {
        if (std::string fault = open_or_make(file); !fault.empty()) return fault;
        if (!lock(file.descriptor)) break;
        if (is_still_named(file))
            return ftruncate(file.descriptor, 0) == 0 ? std::string() : std::strerror(errno);
        close(std::exchange(file.descriptor, -1));
    }
    return "another process is writing it";
}

// A file that others may not read stays so.
void keep_permissions(int descriptor, const fs::path& target) {
    constexpr mode_t kPermissions = 07777;
    struct stat status = {};
    if (stat(target.c_str(), &status) == 0)
        static_cast<void>(fchmod(descriptor, status.st_mode & kPermissions));
}

bool write_all(int descriptor, std::string_view content) {
    while (!content.empty()) {
        const ssize_t written = write(descriptor, content.data(), content.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        content.remove_prefix(to_size(written));
    }
    return true;
}

// Not even a link to a device is replaced.
std::string fault_of_target(const fs::path& target) {
    std::error_code ignored;
    const fs::file_status status = fs::status(target, ignored);
    return fs::exists(status) && !fs::is_regular_file(status) ? "it is not a regular file" : "";
}

// Some file systems have nothing to sync.
bool sync(int descriptor) {
    return fsync(descriptor) == 0 || errno == EINVAL || errno == ENOSYS;
}

} // namespace

std::string ReplaceFile(const std::string& path, std::string_view content) {
    return ReplaceFile(path, std::span(&content, 1));
}

std::string ReplaceFile(const std::string& path, std::span<const std::string_view> parts) {
    const fs::path target = target_of(path);
    if (std::string fault = fault_of_target(target); !fault.empty()) return fault;
    TemporaryFile temporary(temporary_name(target));
    if (std::string fault = open_locked(temporary); !fault.empty()) return fault;
    keep_permissions(temporary.descriptor, target);
    const auto write_part = [&](std::string_view part) {
        return write_all(temporary.descriptor, part);
    };
    if (std::all_of(parts.begin(), parts.end(), write_part) && sync(temporary.descriptor)
        && std::rename(temporary.name.c_str(), target.c_str()) == 0)
        return {};
    const std::string reason = std::strerror(errno);
    unlink(temporary.name.c_str());
    return reason;
}

// A file that another process is writing stays with it.
std::string TryFile(const std::string& path) {
    const fs::path target = target_of(path);
    if (std::string fault = fault_of_target(target); !fault.empty()) return fault;
    TemporaryFile temporary(temporary_name(target));
    if (std::string fault = open_or_make(temporary); !fault.empty()) return fault;
    if (flock(temporary.descriptor, LOCK_EX | LOCK_NB) == 0 && is_still_named(temporary))
        unlink(temporary.name.c_str());
    return {};
}

} // namespace mh
