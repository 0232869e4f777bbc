// Reading of whole files.
// SPDX-License-Identifier: MIT
#include "files.h"

#include <filesystem>
#include <iostream>
#include <system_error>

namespace mh {

bool ReadWholeFile(const std::string& path, std::string& content, Origin origin) {
    InputFile file = OpenInput(path, origin);
    if (!file || !FitsMemory(file)) return false;
    content = ReadRest(file);
    return std::ferror(file.handle.get()) == 0;
}

void Complain(const std::string& message) {
    const std::string line = "moonhare: " + message + '\n';
    if (WriteLine != nullptr) return WriteLine(line);
    std::cerr << line;
}

bool IsDirectory(const std::string& path) {
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) return true;
    Complain(path + " is not a directory");
    return false;
}

} // namespace mh
