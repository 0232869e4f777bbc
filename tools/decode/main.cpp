// The helper program of the image loader: decodes one image file under limits on time and memory
// and writes its pixels to standard output. What a damaged file does to its decoder ends here.
// usage: moonhare-decode FILE rgbe|floats top|bottom SECONDS BYTES FOLDER
// FOLDER: outside of which no file is read; empty for any.
// SPDX-License-Identifier: MIT
#include "decode/confine.h"
#include "math/input_file.h"
#include "shading/image_decoder.h"
#include "shading/image_stream.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>

#include <unistd.h>

namespace {

std::string decode(const std::string& file, mh::Decoding decoding, mh::Image& image) {
    const FREE_IMAGE_FORMAT format = mh::FormatWithRaw(file);
    if (format == FIF_UNKNOWN) return "is not an image of a known format";
    return mh::DecodeImageFile(file, format, decoding, image);
}

bool put(const void* bytes, std::size_t count) {
    return count == 0 || std::fwrite(bytes, count, 1, stdout) == 1;
}

bool answer(mh::Image& image, const std::string& fault) {
    mh::StreamHead head = mh::HeadOf(image);
    head.fault_bytes = std::min(static_cast<std::uint32_t>(fault.size()), mh::kLongestFault);
    if (!put(&head, sizeof head)) return false;
    if (!fault.empty()) return put(fault.data(), head.fault_bytes);
    const std::span<std::byte> pixels = mh::PixelBytes(image);
    return put(pixels.data(), pixels.size());
}

} // namespace

int main(int count, char** arguments) {
    if (count != 7) return 2;
    mh::ConfineInputs(arguments[6], nullptr);
    mh::PreopenInput(arguments[1]);
    FreeImage_Initialise();
    if (!mh::Confine(arguments[4], arguments[5])) return 1;
    mh::Decoding decoding;
    if (std::string_view(arguments[2]) == "floats") decoding.storage = mh::FloatStorage::floats;
    decoding.top_first = std::string_view(arguments[3]) == "top";
    mh::Image image;
    const std::string fault = decode(arguments[1], decoding, image);
    const bool written = answer(image, fault) && std::fflush(stdout) == 0;
    _exit(written ? 0 : 1); // without the decoders' own endings
}
