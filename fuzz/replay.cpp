// usage: replay COPIES FOLDER...
// Feeds every file of the folders to the harness, without libFuzzer: as it is, and COPIES times
// damaged.
// SPDX-License-Identifier: MIT
#include "support/fresh_scene.h"

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

void feed(const std::string& bytes) {
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

// Each of them another one of these: cut, with some bytes replaced, or both.
void feed_damaged(const std::string& whole, unsigned copies) {
    constexpr unsigned kReplaced = 4;
    std::minstd_rand random(1);
    for (unsigned copy = 0; copy < copies && !whole.empty(); ++copy) {
        std::string bytes = whole;
        for (unsigned i = 0; i < copy % 3 * kReplaced; ++i)
            bytes[random() % bytes.size()] = static_cast<char>(random());
        if (copy % 3 != 2) bytes.resize(random() % bytes.size());
        feed(bytes);
    }
}

} // namespace

int main(int count, char** arguments) {
    const auto copies = static_cast<unsigned>(std::stoul(arguments[1]));
    std::vector<std::filesystem::path> files; // before the working directory changes
    for (const std::string& folder : std::vector<std::string>(arguments + 2, arguments + count))
        if (std::filesystem::exists(folder))
            for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
                if (entry.is_regular_file()) files.push_back(std::filesystem::absolute(entry));
    for (const std::filesystem::path& file : files) {
        std::fprintf(stderr, "%s\n", file.c_str()); // the last line before a crash
        const std::string bytes = mh::test::content_of(file);
        feed(bytes);
        feed_damaged(bytes, copies);
    }
    return files.empty() ? 1 : 0;
}
