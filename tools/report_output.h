// Where the library's report of a render goes: to standard output, to the file of --log, nowhere,
// or below the bar that a terminal shows, once that has ended.
// SPDX-License-Identifier: MIT
#pragma once

#include "captured_report.h"
#include "options.h"

#include <fstream>
#include <string>

namespace mh {

class ReportOutput {
public:
    explicit ReportOutput(const Arguments& arguments);
    ~ReportOutput();
    ReportOutput(const ReportOutput&) = delete;
    ReportOutput& operator=(const ReportOutput&) = delete;

    // What kept it from being opened or written; empty so far as all is well.
    std::string fault();

private:
    std::string path;
    std::ofstream file;
    KeepingBuffer kept;
    std::streambuf* console;
    bool held;
};

} // namespace mh
