// Feeds every file of the folders given to the harness, without libFuzzer.
// SPDX-License-Identifier: MIT
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

std::vector<std::filesystem::path> files_below(const char* folder) {
    std::vector<std::filesystem::path> files;
    if (!std::filesystem::exists(folder)) return files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        if (entry.is_regular_file()) files.push_back(std::filesystem::absolute(entry.path()));
    return files;
}

void replay(const std::filesystem::path& path) {
    std::fprintf(stderr, "%s\n", path.c_str()); // the last line before a crash
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> bytes(std::istreambuf_iterator<char>(file), {});
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

} // namespace

int main(int count, char** folders) {
    std::vector<std::filesystem::path> files; // before the working directory changes
    for (int i = 1; i < count; ++i)
        for (const std::filesystem::path& file : files_below(folders[i]))
            files.push_back(file);
    for (const std::filesystem::path& file : files)
        replay(file);
    return files.empty() ? 1 : 0;
}
