// Guarded opening of files.
// SPDX-License-Identifier: MIT
#include "math/input_file.h"

#include "math/memory.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mh {

namespace {

struct Preopened {
    std::string path;
    int descriptor = -1;
};

struct Confinement {
    std::string folder; // resolved; empty for none
    void (*refused)(const std::string& path) = nullptr;
};

Preopened preopened;
Confinement confinement;

bool is_inside(const std::filesystem::path& resolved) {
    const std::filesystem::path folder = confinement.folder;
    return std::mismatch(folder.begin(), folder.end(), resolved.begin(), resolved.end()).first
           == folder.end();
}

// What the path leads to before it is opened, as opening a device may do something.
bool may_open(const std::string& path) {
    std::error_code fault;
    const std::filesystem::path resolved = std::filesystem::canonical(path, fault);
    return fault || is_inside(resolved);
}

// What was opened: links may have changed meanwhile.
bool may_read(int descriptor) {
    std::error_code fault;
    const auto opened =
        std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor), fault);
    return !fault && is_inside(opened);
}

int open_path(const std::string& path) {
    return open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
}

int open_confined(const std::string& path) {
    const int descriptor = may_open(path) ? open_path(path) : -1;
    if (descriptor < 0 && may_open(path)) return -1; // there is no such file
    if (descriptor >= 0 && may_read(descriptor)) return descriptor;
    if (descriptor >= 0) close(descriptor);
    if (confinement.refused != nullptr) confinement.refused(path);
    return -1;
}

int open_descriptor(const std::string& path, Origin origin) {
    if (preopened.descriptor >= 0 && path == preopened.path) {
        lseek(preopened.descriptor, 0, SEEK_SET);
        return dup(preopened.descriptor);
    }
    const bool confined = origin == Origin::scene && !confinement.folder.empty();
    return confined ? open_confined(path) : open_path(path);
}

} // namespace

void PreopenInput(const std::string& path) {
    const int descriptor = open_descriptor(path, Origin::scene);
    preopened = {path, descriptor};
}

void ConfineInputs(const std::string& folder, void (*refused)(const std::string& path)) {
    std::error_code fault;
    confinement = {folder.empty() ? "" : std::filesystem::canonical(folder, fault).string(),
                   refused};
    if (fault) confinement.folder = "/dev/null"; // nothing is inside
}

const std::string& ConfiningFolder() {
    return confinement.folder;
}

// Without O_NONBLOCK the opening of a FIFO waits for its writer.
InputFile OpenInput(const std::string& path, Origin origin) {
    const int descriptor = open_descriptor(path, origin);
    if (descriptor < 0) return {};
    struct stat status = {};
    InputFile file;
    if (fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode))
        file.handle.reset(fdopen(descriptor, "rb"));
    if (!file) {
        close(descriptor);
        return {};
    }
    std::setvbuf(file.handle.get(), nullptr, _IONBF, 0); // readers have buffers of their own
    file.size_bytes = static_cast<std::uint64_t>(status.st_size);
    return file;
}

InputFile OpenText(const std::string& path) {
    constexpr std::string_view kMark = "\xEF\xBB\xBF";
    InputFile file = OpenInput(path);
    std::array<char, kMark.size()> start = {};
    if (!file) return file;
    const std::size_t got = std::fread(start.data(), 1, start.size(), file.handle.get());
    if (std::string_view(start.data(), got) != kMark) std::rewind(file.handle.get());
    return file;
}

bool FitsMemory(const InputFile& file) {
    constexpr double kCopies = 2.0;
    return FitsMemory(kCopies * static_cast<double>(file.size_bytes));
}

std::string ReadRest(InputFile& file) {
    std::string content(file.size_bytes, '\0');
    content.resize(std::fread(content.data(), 1, content.size(), file.handle.get()));
    return content;
}

} // namespace mh
