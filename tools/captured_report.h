// Keeps the library's report off standard output while a scene is looked at, and hands out its
// lines.
// SPDX-License-Identifier: MIT
#pragma once

#include <streambuf>
#include <string>
#include <vector>

namespace mh {

struct ReportMessage {
    std::string text;
    bool warning = false, error = false; // the library called it one
};

// Keeps what is written to it, and may hand it on.
class KeepingBuffer : public std::streambuf {
public:
    std::string text;
    std::streambuf* onward = nullptr; // null: nothing is handed on

protected:
    int_type overflow(int_type c) override;
    std::streamsize xsputn(const char* characters, std::streamsize count) override;
    int sync() override;
};

// From its making to its end nothing reaches std::cout but what is handed on.
class CapturedReport {
public:
    CapturedReport();
    ~CapturedReport();
    CapturedReport(const CapturedReport&) = delete;
    CapturedReport& operator=(const CapturedReport&) = delete;

    // Whether what comes from now on reaches std::cout as well.
    void hand_on(bool on);

    // What was reported since the last call, without rules, prefixes and empty lines.
    std::vector<ReportMessage> take_messages();

private:
    KeepingBuffer buffer;
    std::streambuf* console;
};

} // namespace mh
