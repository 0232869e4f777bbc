// Starts the helper program, which decodes one image file, and takes the pixels from its pipe.
// Called by the image loader; no state of this process passes to the helper but its arguments.
// SPDX-License-Identifier: MIT
#include "shading/image_helper.h"

#include "math/helper_process.h"
#include "math/input_file.h"
#include "math/memory.h"
#include "shading/image_stream.h"
#include "shading/state.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <span>

namespace mh {

namespace {

using Clock = std::chrono::steady_clock;

std::string fault_of(Received received, Budget budget) {
    constexpr double kBytesOfMegabyte = 1048576.0;
    const auto seconds = static_cast<int>(budget.seconds);
    const auto megabytes = static_cast<int>(budget.bytes / kBytesOfMegabyte);
    switch (received) {
    case Received::whole: return {};
    case Received::late:
        return "was not decoded within " + std::to_string(2 * seconds) + " seconds";
    case Received::cut:
        return "made its decoder fail, which may use " + std::to_string(seconds) + " seconds and "
               + std::to_string(megabytes) + " megabytes";
    }
    std::abort();
}

// The image, or why there is none.
std::string receive_image(const HelperProcess& helper, Budget budget, Image& image) {
    const auto deadline =
        Clock::now() + std::chrono::milliseconds(std::lround(2e3 * budget.seconds));
    StreamHead head;
    Received received = Receive(helper, std::as_writable_bytes(std::span(&head, 1)), deadline);
    if (received != Received::whole) return fault_of(received, budget);
    if (head.version != kStreamVersion)
        return "was answered by a helper program of another version";
    if (head.fault_bytes > 0) {
        std::string fault(std::min(head.fault_bytes, kLongestFault), '\0');
        received = Receive(helper, std::as_writable_bytes(std::span(fault)), deadline);
        return received == Received::whole ? fault : fault_of(received, budget);
    }
    Image decoded;
    if (!AllocateFromHead(head, decoded)) return "cannot be decoded";
    received = Receive(helper, PixelBytes(decoded), deadline);
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
    const std::string program =
        ImageHelper.empty() ? InstalledHelper(MOONHARE_IMAGE_HELPER) : ImageHelper;
    if (program.empty())
        return "is in a format that needs the helper program " MOONHARE_IMAGE_HELPER
               ", which is not installed";
    HelperProcess helper;
    std::string fault = StartHelper(
        {program, file, decoding.storage == FloatStorage::rgbe ? "rgbe" : "floats",
         decoding.top_first ? "top" : "bottom", std::to_string(std::lround(budget.seconds)),
         std::to_string(std::llround(budget.bytes)), ConfiningFolder()},
        helper);
    if (!fault.empty()) return fault;
    fault = receive_image(helper, budget, image);
    EndHelper(helper);
    return fault;
}

} // namespace mh
