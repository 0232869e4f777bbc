// Keeps the library's report off standard output.
// SPDX-License-Identifier: MIT
#include "captured_report.h"

#include "math/at.h"

#include <algorithm>
#include <iostream>
#include <sstream>
#include <utility>

namespace mh {

namespace {

bool drop_prefix(std::string& line, const std::string& prefix) {
    if (!line.starts_with(prefix)) return false;
    line.erase(0, prefix.size());
    return true;
}

} // namespace

KeepingBuffer::int_type KeepingBuffer::overflow(int_type c) {
    if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
    text += traits_type::to_char_type(c);
    return onward == nullptr ? c : onward->sputc(traits_type::to_char_type(c));
}

std::streamsize KeepingBuffer::xsputn(const char* characters, std::streamsize count) {
    text.append(characters, to_size(count));
    return onward == nullptr ? count : onward->sputn(characters, count);
}

int KeepingBuffer::sync() {
    return onward == nullptr ? 0 : onward->pubsync();
}

CapturedReport::CapturedReport() : console(std::cout.rdbuf(&buffer)) {}

CapturedReport::~CapturedReport() {
    std::cout.rdbuf(console);
}

void CapturedReport::hand_on(bool on) {
    buffer.onward = on ? console : nullptr;
}

std::vector<ReportMessage> CapturedReport::take_messages() {
    std::istringstream lines(std::exchange(buffer.text, {}));
    std::vector<ReportMessage> messages;
    for (std::string line; std::getline(lines, line);) {
        const bool error = drop_prefix(line, "error :( \t");
        const bool warning = drop_prefix(line, "warning :( \t");
        std::replace(line.begin(), line.end(), '\t', ' ');
        if (line.find_first_not_of("_ \r") != line.npos) messages.push_back({line, warning, error});
    }
    return messages;
}

} // namespace mh
