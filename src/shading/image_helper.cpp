// Starts the helper program, which decodes one image file, and takes the pixels from its pipe.
// Called by the image loader; no state of this process passes to the helper but its arguments.
// SPDX-License-Identifier: MIT
#include "shading/image_helper.h"

#include "math/input_file.h"
#include "math/memory.h"
#include "shading/image_stream.h"
#include "shading/state.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <span>
#include <vector>

#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace mh {

namespace {

using Clock = std::chrono::steady_clock;
using Path = std::filesystem::path;

enum class Received { whole, cut, late };

// The file that holds this code: the library, or the program that has it built in.
Path own_file() {
    Dl_info info = {};
    link_map* map = nullptr;
    void* extra = nullptr;
    if (dladdr1(&ImageHelper, &info, &extra, RTLD_DL_LINKMAP) != 0)
        map = static_cast<link_map*>(extra);
    const bool library = map != nullptr && map->l_name != nullptr && map->l_name[0] != '\0';
    std::error_code none;
    return std::filesystem::canonical(library ? map->l_name : "/proc/self/exe", none);
}

// Beside the folder of libraries or programs, or one above it where libraries have a folder for
// each architecture. Empty when it is not installed.
std::string installed_helper() {
    std::error_code none;
    const Path folder = own_file().parent_path();
    for (const char* up : {"..", "../.."}) {
        const Path program = folder / up / MOONHARE_IMAGE_HELPER;
        if (access(program.c_str(), X_OK) == 0) return program;
    }
    return {};
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

Received receive(int pipe, std::span<std::byte> bytes, Clock::time_point deadline) {
    while (!bytes.empty()) {
        using std::chrono::milliseconds;
        const auto left = std::chrono::duration_cast<milliseconds>(deadline - Clock::now()).count();
        pollfd ready = {pipe, POLLIN, 0};
        if (left <= 0) return Received::late;
        if (poll(&ready, 1, static_cast<int>(std::min<long>(left, 1000))) <= 0) continue;
        const ssize_t count = read(pipe, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return Received::cut;
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
    return Received::whole;
}

std::string fault_of(Received received, Budget budget) {
    constexpr double kBytesOfMegabyte = 1048576.0;
    const auto seconds = static_cast<int>(budget.seconds);
    const auto megabytes = static_cast<int>(budget.bytes / kBytesOfMegabyte);
    switch (received) {
    case Received::whole: return {};
    case Received::late: return "is not decoded within " + std::to_string(2 * seconds) + " seconds";
    case Received::cut:
        return "has ended its decoder, which may take " + std::to_string(seconds) + " seconds and "
               + std::to_string(megabytes) + " megabytes";
    }
    std::abort();
}

// The image, or why there is none.
std::string receive_image(int pipe, Budget budget, Image& image) {
    const auto deadline =
        Clock::now() + std::chrono::milliseconds(std::lround(2e3 * budget.seconds));
    StreamHead head;
    Received received = receive(pipe, std::as_writable_bytes(std::span(&head, 1)), deadline);
    if (received != Received::whole) return fault_of(received, budget);
    if (head.version != kStreamVersion) return "is answered by a helper program of another version";
    if (head.fault_bytes > 0) {
        std::string fault(std::min(head.fault_bytes, kLongestFault), '\0');
        received = receive(pipe, std::as_writable_bytes(std::span(fault)), deadline);
        return received == Received::whole ? fault : fault_of(received, budget);
    }
    Image decoded;
    if (!AllocateFromHead(head, decoded)) return "cannot be decoded";
    received = receive(pipe, PixelBytes(decoded), deadline);
    if (received != Received::whole) return fault_of(received, budget);
    decoded.path = image.path;
    decoded.loaded = image.loaded;
    image = std::move(decoded);
    return {};
}

} // namespace

// A decoder writes at least a megabyte of file and ten million pixels a second, and holds the image
// three times; a format whose header is not read, 64 bytes for a byte of the file.
Budget BudgetOf(const std::string& file, FREE_IMAGE_FORMAT format) {
    constexpr double kSeconds = 4.0, kBytes = 805306368.0; // for any file
    constexpr double kSecondsOfByte = 1e-6, kSecondsOfPixel = 1e-7;
    constexpr double kCopies = 3.0, kUnpacked = 64.0;
    const auto file_bytes = static_cast<double>(OpenInput(file).size_bytes);
    const ImageHeader header = HeaderOf(file, format);
    const double unpacked = header.bytes > 0.0 ? kCopies * header.bytes : kUnpacked * file_bytes;
    return {kSeconds + kSecondsOfByte * file_bytes + kSecondsOfPixel * header.pixels,
            kBytes + std::min(unpacked, SpareMemory())};
}

std::string DecodeApart(const std::string& file, Decoding decoding, Budget budget, Image& image) {
    const std::string program = ImageHelper.empty() ? installed_helper() : ImageHelper;
    if (program.empty())
        return "is of a format that needs the helper program " MOONHARE_IMAGE_HELPER
               ", which is not installed";
    std::array<int, 2> ends = {};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) return std::strerror(errno);
    const pid_t process =
        spawn(program,
              {program, file, decoding.storage == FloatStorage::rgbe ? "rgbe" : "floats",
               decoding.top_first ? "top" : "bottom", std::to_string(std::lround(budget.seconds)),
               std::to_string(std::llround(budget.bytes)), ConfiningFolder()},
              ends[1]);
    const int reason = errno;
    close(ends[1]);
    const std::string fault = process < 0 ? "needs " + program + ": " + std::strerror(reason)
                                          : receive_image(ends[0], budget, image);
    close(ends[0]);
    if (process > 0) {
        kill(process, SIGKILL); // it has said all that counts
        while (waitpid(process, nullptr, 0) < 0 && errno == EINTR) {
        }
    }
    return fault;
}

} // namespace mh
