// Reading of whole files.
// SPDX-License-Identifier: MIT
#include "files.h"

#include <algorithm>
#include <cctype>
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

std::string ExtensionOf(const std::string& path) {
    std::string extension = std::filesystem::path(path).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return extension;
}

bool IsDirectory(const std::string& path) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (std::filesystem::is_directory(status)) return true;
    const bool is_missing = status.type() == std::filesystem::file_type::not_found;
    Complain(path + (is_missing ? " does not exist" : " is not a directory"));
    return false;
}

} // namespace mh
