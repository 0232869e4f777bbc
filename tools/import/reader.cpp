// Starts the helper program and takes its answer.
// SPDX-License-Identifier: MIT
#include "import/reader.h"

#include "import/scene_stream.h"
#include "math/helper_process.h"
#include "math/input_file.h"
#include "math/memory.h"

#include <algorithm>
#include <cmath>

namespace mh {

namespace {

using Clock = std::chrono::steady_clock;

constexpr double kBytesOfMegabyte = 1048576.0;

struct Limits {
    double seconds = 0.0, bytes = 0.0; // of processor time and address space
};

// The slowest format, with its numbers in text, is read at a megabyte a second at least.
Limits limits_for(const std::string& path) {
    constexpr double kSeconds = 20.0, kSecondsOfByte = 1e-6, kBytes = 2048.0 * kBytesOfMegabyte;
    const auto file_bytes = static_cast<double>(OpenInput(path, Origin::user).size_bytes);
    return {kSeconds + kSecondsOfByte * file_bytes, kBytes + 0.5 * SpareMemory()};
}

// All that the helper says until its end.
Received receive_all(const HelperProcess& helper, HelperClock deadline,
                     std::vector<std::byte>& bytes, bool& fits) {
    constexpr std::size_t kRoom = 1 << 20;
    std::size_t used = 0;
    for (fits = true; fits;) {
        if (bytes.size() - used < kRoom) {
            fits = FitsMemory(2.0 * static_cast<double>(bytes.size()));
            bytes.resize(std::max(2 * bytes.size(), 2 * kRoom));
        }
        std::size_t count = 0;
        const Received received =
            ReceiveSome(helper, std::span(bytes).subspan(used), deadline, count);
        used += count;
        if (received == Received::whole) continue;
        bytes.resize(used);
        return received;
    }
    return Received::cut;
}

std::string first_line(const std::string& text) {
    constexpr std::size_t kLongest = 300;
    std::string line = text.substr(0, std::min(text.find('\n'), kLongest));
    std::replace_if(
        line.begin(), line.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; }, ' ');
    return line;
}

std::string receive_answer(const HelperProcess& helper, const Limits& limits,
                           ImportedScene& scene) {
    const auto deadline =
        Clock::now() + std::chrono::milliseconds(std::lround(2e3 * limits.seconds));
    std::vector<std::byte> bytes;
    bool fits = true;
    const Received received = receive_all(helper, deadline, bytes, fits);
    if (!fits) return "needs more memory than there is";
    if (received == Received::late)
        return "is not read within " + std::to_string(std::lround(2.0 * limits.seconds))
               + " seconds";
    ImportAnswer answer;
    if (bytes.empty())
        return "has ended its reader, which may take " + std::to_string(std::lround(limits.seconds))
               + " seconds and " + std::to_string(std::lround(limits.bytes / kBytesOfMegabyte))
               + " megabytes";
    if (!ReadAnswer(bytes, answer))
        return "holds numbers that are not finite, or indices that lead nowhere";
    if (!answer.fault.empty()) return "is not read: " + first_line(answer.fault);
    scene = std::move(answer.scene);
    return {};
}

} // namespace

std::string ReadForeignFile(const std::string& path, double seconds, ImportedScene& scene) {
    const std::string program = InstalledHelper(MOONHARE_IMPORT_HELPER);
    if (program.empty()) return "needs " MOONHARE_IMPORT_HELPER ", which is not installed";
    if (!OpenInput(path, Origin::user)) return "cannot be opened";
    const Limits limits = limits_for(path);
    HelperProcess helper;
    std::string fault =
        StartHelper({program, path, std::to_string(std::lround(limits.seconds)),
                     std::to_string(std::llround(limits.bytes)), std::to_string(seconds)},
                    helper);
    if (!fault.empty()) return fault;
    fault = receive_answer(helper, limits, scene);
    EndHelper(helper);
    return fault;
}

std::string FormatList() {
    constexpr int kSeconds = 10;
    const std::string program = InstalledHelper(MOONHARE_IMPORT_HELPER);
    HelperProcess helper;
    if (program.empty() || !StartHelper({program, "--list-formats"}, helper).empty()) return {};
    std::vector<std::byte> bytes;
    bool fits = true;
    receive_all(helper, Clock::now() + std::chrono::seconds(kSeconds), bytes, fits);
    EndHelper(helper);
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

} // namespace mh
