// Keeps the library's report off standard output while a scene is looked at, and hands out its
// lines.
// SPDX-License-Identifier: MIT
#pragma once

#include <sstream>
#include <streambuf>
#include <string>
#include <vector>

namespace mh {

// From its making to its end nothing reaches std::cout.
class CapturedReport {
public:
    CapturedReport();
    ~CapturedReport();
    CapturedReport(const CapturedReport&) = delete;
    CapturedReport& operator=(const CapturedReport&) = delete;

    // What was reported since the last call, without rules, prefixes and empty lines.
    std::vector<std::string> take_messages();

private:
    std::ostringstream text;
    std::streambuf* console;
};

} // namespace mh
