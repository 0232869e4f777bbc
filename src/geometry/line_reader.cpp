// Buffered reading of lines.
// SPDX-License-Identifier: MIT
#include "geometry/line_reader.h"

#include "math/at.h"

#include <algorithm>
#include <cstring>

namespace mh {

namespace {

constexpr std::size_t kLongestLine = 4095;
constexpr std::size_t kBufferSize = 1 << 18; // stays in the second-level cache

// Moves the rest to the front and reads behind it.
void refill(LineReader& reader) {
    // One byte more than the file: the first read finds its end.
    if (reader.buffer.empty())
        reader.buffer.resize(std::min<std::uint64_t>(reader.file.size_bytes + 1, kBufferSize));
    char* const data = reader.buffer.data();
    std::memmove(data, data + reader.begin, reader.end - reader.begin);
    reader.end -= reader.begin;
    reader.begin = 0;
    const std::size_t wanted = reader.buffer.size() - reader.end;
    const std::size_t got = std::fread(data + reader.end, 1, wanted, reader.file.handle.get());
    reader.end += got;
    if (got < wanted) reader.file.handle.reset();
}

const char* find(const char* text, char c, std::size_t size) {
    return static_cast<const char*>(std::memchr(text, c, size));
}

} // namespace

bool read_line(LineReader& reader, TextCursor& line) {
    if (reader.end - reader.begin <= kLongestLine && reader.file) refill(reader);
    if (reader.begin == reader.end) return false;
    const char* const text = reader.buffer.data() + reader.begin;
    const std::size_t limit = std::min(reader.end - reader.begin, kLongestLine + 1);
    const char* const newline = find(text, '\n', limit);
    const std::size_t size =
        newline != nullptr ? to_size(newline - text) : std::min(limit, kLongestLine);
    reader.cut = newline == nullptr && limit > kLongestLine;
    reader.begin += size + (newline != nullptr ? 1 : 0);
    const char* const zero = find(text, '\0', size);
    line = {text, zero != nullptr ? zero : text + size};
    return true;
}

} // namespace mh
