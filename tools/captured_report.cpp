// Keeps the library's report off standard output.
// SPDX-License-Identifier: MIT
#include "captured_report.h"

#include <algorithm>
#include <iostream>

namespace mh {

namespace {

void drop_prefix(std::string& line, const std::string& prefix) {
    if (line.starts_with(prefix)) line.erase(0, prefix.size());
}

} // namespace

CapturedReport::CapturedReport() : console(std::cout.rdbuf(text.rdbuf())) {}

CapturedReport::~CapturedReport() {
    std::cout.rdbuf(console);
}

std::vector<std::string> CapturedReport::take_messages() {
    std::istringstream lines(text.str());
    text.str({});
    std::vector<std::string> messages;
    for (std::string line; std::getline(lines, line);) {
        drop_prefix(line, "error :( \t");
        drop_prefix(line, "warning :( \t");
        std::replace(line.begin(), line.end(), '\t', ' ');
        if (line.find_first_not_of("_ \r") != line.npos) messages.push_back(line);
    }
    return messages;
}

} // namespace mh
