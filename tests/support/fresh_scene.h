// A scene in one test: the library is started before and torn down after it.
// SPDX-License-Identifier: MIT
#pragma once

#include <sstream>
#include <string>

namespace mh::test {

// Keeps what goes to standard output, from construction to destruction.
struct CapturedOutput {
    CapturedOutput();
    ~CapturedOutput();
    CapturedOutput(const CapturedOutput&) = delete;
    CapturedOutput& operator=(const CapturedOutput&) = delete;

    // Since the start or the last call.
    std::string take();

private:
    std::ostringstream text_;
    std::streambuf* console_;
};

// Starts the library with an empty scene; at the end of the test every global table is empty
// again.
struct FreshScene {
    FreshScene();
    ~FreshScene();
    FreshScene(const FreshScene&) = delete;
    FreshScene& operator=(const FreshScene&) = delete;

    std::string take_report() { return output.take(); }

    CapturedOutput output;
};

// An empty folder that exists for the life of the object and is the working directory meanwhile.
struct TemporaryFolder {
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    // Writes a text or binary file below the folder, making its folders.
    void write(const std::string& name, const std::string& content) const;

    std::string path; // with a trailing separator

private:
    std::string previous_;
};

// The library takes the machine for one with these files under /proc and /sys.
struct FakeMachine {
    FakeMachine(double total_bytes, double available_bytes);
    ~FakeMachine();
    FakeMachine(const FakeMachine&) = delete;
    FakeMachine& operator=(const FakeMachine&) = delete;

    TemporaryFolder folder;
};

// All bytes of a file.
std::string content_of(const std::string& path);

} // namespace mh::test
