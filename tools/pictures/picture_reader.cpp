// Pictures by the helper program.
// SPDX-License-Identifier: MIT
#include "pictures/picture_reader.h"

#include "math/at.h"
#include "math/helper_process.h"
#include "math/input_file.h"
#include "math/memory.h"
#include "pictures/picture_stream.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <span>

namespace mh {

namespace {

using Clock = std::chrono::steady_clock;

struct Limits {
    double seconds = 0.0, bytes = 0.0;
};

// A decoder writes at least a megabyte of file a second; its libraries are mapped to a gigabyte,
// and the pixels of a file of some hundred bytes may be many.
Limits limits_for(const std::string& path) {
    constexpr double kSeconds = 10.0, kSecondsOfByte = 1e-6;
    constexpr double kBytes = 4.0 * 1024.0 * 1024.0 * 1024.0, kUnpacked = 64.0;
    const auto size = static_cast<double>(OpenInput(path, Origin::user).size_bytes);
    return {kSeconds + kSecondsOfByte * size, kBytes + std::min(kUnpacked * size, SpareMemory())};
}

bool is_size(const PictureHead& head) {
    return head.width > 0 && head.height > 0
           && 1.0 * head.width * head.height <= kMostPicturePixels;
}

std::string receive_picture(const HelperProcess& helper, double seconds, Pixels& pixels) {
    constexpr const char* kFailed = "made its decoder fail or take too much time or memory";
    const auto deadline = Clock::now() + std::chrono::milliseconds(std::lround(2e3 * seconds));
    const auto whole = [&](std::span<std::byte> bytes) {
        return Receive(helper, bytes, deadline) == Received::whole;
    };
    PictureHead head;
    if (!whole(std::as_writable_bytes(std::span(&head, 1)))) return kFailed;
    if (head.version != kPictureStream)
        return "was answered by a helper program of another version";
    if (head.fault_bytes > 0) {
        std::string fault(std::min(head.fault_bytes, kLongestPictureFault), '\0');
        return whole(std::as_writable_bytes(std::span(fault))) ? fault : kFailed;
    }
    if (!is_size(head)) return kFailed;
    pixels = {head.width, head.height, {}, head.is_linear != 0, head.is_layer != 0};
    const std::size_t count = grid_size(head.width, head.height);
    if (!FitsMemory(static_cast<double>(count * sizeof(Vec3))))
        return "needs more memory than there is";
    pixels.values.resize(count);
    return whole(std::as_writable_bytes(std::span(pixels.values))) ? std::string() : kFailed;
}

} // namespace

bool HasPictureReader() {
    return !InstalledHelper(MOONHARE_PICTURES_HELPER).empty();
}

std::string DecodePicture(const std::string& path, const std::string& layer, Pixels& pixels) {
    const Limits limits = limits_for(path);
    HelperProcess helper;
    std::string fault = StartHelper({InstalledHelper(MOONHARE_PICTURES_HELPER), path,
                                     std::to_string(std::lround(limits.seconds)),
                                     std::to_string(std::llround(limits.bytes)), layer},
                                    helper);
    if (!fault.empty()) return fault;
    fault = receive_picture(helper, limits.seconds, pixels);
    EndHelper(helper);
    return fault;
}

} // namespace mh
