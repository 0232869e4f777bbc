// Life cycle and files of tests.
// SPDX-License-Identifier: MIT
#include "support/fresh_scene.h"

#include "frame/phases.h"
#include "math/control_group.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

#include <unistd.h>

namespace mh::test {

CapturedOutput::CapturedOutput() : console_(std::cout.rdbuf(text_.rdbuf())) {}

CapturedOutput::~CapturedOutput() {
    std::cout.rdbuf(console_);
}

std::string CapturedOutput::take() {
    std::string text = text_.str();
    text_.str({});
    return text;
}

FreshScene::FreshScene() {
    Startup();
}

FreshScene::~FreshScene() {
    Finalize();
    Shutdown();
}

TemporaryFolder::TemporaryFolder() : previous_(std::filesystem::current_path()) {
    std::string name = std::filesystem::temp_directory_path() / "moonhare-test-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) std::abort();
    path = name + "/";
    std::filesystem::current_path(path);
}

TemporaryFolder::~TemporaryFolder() {
    std::filesystem::current_path(previous_);
    std::filesystem::remove_all(path);
}

void TemporaryFolder::write(const std::string& name, const std::string& content) const {
    const std::filesystem::path file = path + name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
}

FakeMachine::FakeMachine(double total_bytes, double available_bytes) {
    const auto line = [](const char* name, double bytes) {
        return name + std::to_string(static_cast<long long>(bytes / 1024.0)) + " kB\n";
    };
    folder.write("proc/meminfo",
                 line("MemTotal: ", total_bytes) + line("MemAvailable: ", available_bytes));
    SystemRoot = folder.path;
}

FakeMachine::~FakeMachine() {
    SystemRoot.clear();
}

std::string content_of(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace mh::test
