// Where the library's report of a render goes.
// SPDX-License-Identifier: MIT
#include "report_output.h"

#include "progress.h"

#include <cerrno>
#include <cstring>
#include <iostream>
#include <streambuf>

#include <unistd.h>

namespace mh {

namespace {

class NoBuffer : public std::streambuf {
    int_type overflow(int_type c) override { return traits_type::not_eof(c); }

    std::streamsize xsputn(const char*, std::streamsize count) override { return count; }
};

NoBuffer no_buffer;

} // namespace

ReportOutput::ReportOutput(const Arguments& arguments)
    : path(arguments.log), console(std::cout.rdbuf()),
      held(path.empty() && !arguments.quiet && ShowsBar() && isatty(STDOUT_FILENO) == 1) {
    if (!path.empty()) file.open(path);
    if (file.is_open())
        std::cout.rdbuf(file.rdbuf());
    else if (held)
        std::cout.rdbuf(&kept);
    else if (arguments.quiet)
        std::cout.rdbuf(&no_buffer);
}

ReportOutput::~ReportOutput() {
    std::cout.rdbuf(console);
    if (held) std::cout << kept.text << std::flush;
}

std::string ReportOutput::fault() {
    if (path.empty() || (file.is_open() && std::cout.flush())) return {};
    return "cannot write " + path + ": " + std::strerror(errno);
}

} // namespace mh
