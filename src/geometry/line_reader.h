// Lines of a text file, through one buffer that is refilled in large pieces.
// SPDX-License-Identifier: MIT
#pragma once

#include "geometry/number_text.h"
#include "math/input_file.h"

#include <cstddef>
#include <vector>

namespace mh {

struct LineReader {
    InputFile file;
    std::vector<char> buffer;
    std::size_t begin = 0, end = 0; // what the buffer still holds
    bool cut = false;               // the last line was longer than 4095 characters
};

// The next line without its end: at most 4095 characters, the rest of a longer line counts as the
// next line, as if read into a buffer of 4096. A NUL ends the line's text. False at the end of the
// file. The text stays valid until the next call.
bool read_line(LineReader& reader, TextCursor& line);

} // namespace mh
