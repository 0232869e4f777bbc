// Guarded opening of files.
// SPDX-License-Identifier: MIT
#include "math/input_file.h"

#include "math/memory.h"

#include <array>
#include <string_view>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mh {

namespace {

struct Preopened {
    std::string path;
    int descriptor = -1;
};

Preopened preopened;

int open_descriptor(const std::string& path) {
    if (preopened.descriptor < 0 || path != preopened.path)
        return open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    lseek(preopened.descriptor, 0, SEEK_SET);
    return dup(preopened.descriptor);
}

} // namespace

void PreopenInput(const std::string& path) {
    const int descriptor = open_descriptor(path);
    preopened = {path, descriptor};
}

// Without O_NONBLOCK the opening of a FIFO waits for its writer.
InputFile OpenInput(const std::string& path) {
    const int descriptor = open_descriptor(path);
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
