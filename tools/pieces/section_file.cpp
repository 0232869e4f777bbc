// Files with check sums.
// SPDX-License-Identifier: MIT
#include "pieces/section_file.h"

#include "math/digest.h"
#include "output/file_writer.h"
#include "pieces/byte_fields.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <vector>

namespace mh {

namespace {

constexpr std::uint32_t kByteOrder = 0x01020304;
constexpr std::uint64_t kLargestHeader = 1u << 24;
constexpr std::uint64_t kBlock = 1u << 20; // bytes that are read and summed at once

std::uint64_t sum_of(std::string_view bytes) {
    Digest digest;
    for (; bytes.size() > kBlock; bytes.remove_prefix(kBlock))
        add(digest, bytes.substr(0, kBlock));
    add(digest, bytes);
    return digest.value;
}

bool read(std::FILE* file, std::string& bytes, std::uint64_t size) {
    bytes.resize(size);
    return std::fread(bytes.data(), 1, size, file) == size;
}

template<typename T>
bool read_number(std::FILE* file, T& number) {
    return std::fread(&number, sizeof number, 1, file) == 1;
}

std::string start_of(const FileKind& kind) {
    return "moonhare " + std::string(kind.word) + ' ';
}

bool begins_as(InputFile& input, const FileKind& kind) {
    const std::string start = start_of(kind);
    std::string bytes;
    return start.size() <= input.size_bytes && read(input.handle.get(), bytes, start.size())
           && bytes == start;
}

// What is wrong with the first line; empty when this program reads what follows.
std::string fault_of_start(InputFile& input, const FileKind& kind) {
    if (!begins_as(input, kind)) return std::string("is not a ") + kind.name;
    int format = 0;
    char end = '\0';
    if (std::fscanf(input.handle.get(), "%9d%c", &format, &end) != 2 || end != '\n')
        return kDamaged;
    if (format == kind.format) return {};
    return "is of format " + std::to_string(format)
           + ", by another version of moonhare; this one reads format "
           + std::to_string(kind.format);
}

} // namespace

std::string WriteSections(const std::string& path, const FileKind& kind, std::string_view header,
                          std::span<const std::string_view> sections) {
    std::string start = start_of(kind) + std::to_string(kind.format) + '\n';
    put(start, kByteOrder);
    put_text(start, header);
    put(start, sum_of(header));
    std::vector<std::string> sums;
    for (const std::string_view section : sections)
        put(sums.emplace_back(), sum_of(section));
    std::vector<std::string_view> parts = {start};
    for (std::size_t i = 0; i < sections.size(); ++i) {
        parts.push_back(sections[i]);
        parts.push_back(sums[i]);
    }
    return ReplaceFile(path, parts);
}

std::string OpenSections(const std::string& path, const FileKind& kind, SectionFile& file) {
    file.input = OpenInput(path, Origin::user);
    if (!file.input) return "cannot be read";
    if (std::string fault = fault_of_start(file.input, kind); !fault.empty()) return fault;
    std::FILE* handle = file.input.handle.get();
    std::uint32_t order = 0;
    std::uint64_t size = 0, sum = 0;
    if (!read_number(handle, order)) return kDamaged;
    if (order != kByteOrder) return "is damaged, or of a machine of another kind";
    if (!read_number(handle, size) || size > std::min(kLargestHeader, file.input.size_bytes))
        return kDamaged;
    if (!read(handle, file.header, size) || !read_number(handle, sum) || sum != sum_of(file.header))
        return kDamaged;
    file.data = static_cast<std::uint64_t>(std::ftell(handle));
    return {};
}

bool CheckSection(SectionFile& file, std::uint64_t size, std::uint64_t& sum) {
    Digest digest;
    std::string block;
    do {
        const std::uint64_t part = std::min(size, kBlock);
        if (!read(file.input.handle.get(), block, part)) return false;
        add(digest, block);
        size -= part;
    } while (size > 0);
    return read_number(file.input.handle.get(), sum) && sum == digest.value;
}

bool ReadSection(SectionFile& file, std::span<char> bytes) {
    std::uint64_t sum = 0;
    std::FILE* handle = file.input.handle.get();
    return std::fread(bytes.data(), 1, bytes.size(), handle) == bytes.size()
           && read_number(handle, sum) && sum == sum_of({bytes.data(), bytes.size()});
}

bool IsOfOtherKind(const std::string& path, const FileKind& kind) {
    std::error_code none;
    if (!std::filesystem::exists(path, none)) return false;
    InputFile input = OpenInput(path, Origin::user);
    return !input || (input.size_bytes > 0 && !begins_as(input, kind));
}

} // namespace mh
