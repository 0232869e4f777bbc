// The frame of the program's binary files: a magic line, a header, sections of data, and a check
// sum behind each. No size is believed before it is compared with that of the file.
// SPDX-License-Identifier: MIT
#pragma once

#include "math/input_file.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace mh {

constexpr const char* kDamaged = "is damaged";

// A file begins with the line "moonhare WORD FORMAT".
struct FileKind {
    std::string_view word;
    const char* name; // in messages: "partial file"
    int format;       // files of another one are refused
};

// Empty on success, else why the older file stands.
std::string WriteSections(const std::string& path, const FileKind& kind, std::string_view header,
                          std::span<const std::string_view> sections);

struct SectionFile {
    InputFile input;
    std::string header;
    std::uint64_t data = 0; // where the first section begins
};

// Of the check sum that follows each section.
constexpr std::uint64_t kSumSize = sizeof(std::uint64_t);

// Opens a file that its user names and reads its header. Empty on success, else what is wrong.
std::string OpenSections(const std::string& path, const FileKind& kind, SectionFile& file);

// Goes over the next section block by block. False when it ends early or is not what was written.
bool CheckSection(SectionFile& file, std::uint64_t size, std::uint64_t& sum);

// Reads the next section, whose size has been compared with the file's.
bool ReadSection(SectionFile& file, std::span<char> bytes);

// Whether there is a file of some other kind, which is not to be replaced; the format is of no
// account.
bool IsOfOtherKind(const std::string& path, const FileKind& kind);

} // namespace mh
