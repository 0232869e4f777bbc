// Files of the program's own.
// SPDX-License-Identifier: MIT
#include "atomic_file.h"

#include "math/input_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace mh {

namespace {

std::string failure_of(const std::string& temporary) {
    const std::string reason = std::strerror(errno);
    unlink(temporary.c_str());
    return reason;
}

bool write_all(int file, std::string_view content) {
    while (!content.empty()) {
        const ssize_t written = write(file, content.data(), content.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        content.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

} // namespace

std::string WriteWholeFile(const std::string& path, std::string_view content) {
    constexpr mode_t kReadableByAll = 0666; // less the umask
    const std::string temporary = path + '.' + std::to_string(getpid()) + ".tmp";
    const int file =
        open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kReadableByAll);
    if (file < 0) return std::strerror(errno);
    const bool written = write_all(file, content) && fsync(file) == 0;
    if (!written) {
        const std::string reason = failure_of(temporary);
        close(file);
        return reason;
    }
    if (close(file) != 0) return failure_of(temporary);
    return std::rename(temporary.c_str(), path.c_str()) == 0 ? std::string()
                                                             : failure_of(temporary);
}

bool ReadWholeFile(const std::string& path, std::string& content) {
    InputFile file = OpenInput(path);
    if (!file || !FitsMemory(file)) return false;
    content = ReadRest(file);
    return std::ferror(file.handle.get()) == 0;
}

void Complain(const std::string& message) {
    std::cerr << "moonhare: " << message << '\n';
}

bool IsDirectory(const std::string& path) {
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) return true;
    Complain(path + " is not a directory");
    return false;
}

} // namespace mh
