// Numbers and lines of text files.
// SPDX-License-Identifier: MIT
#include "geometry/number_text.h"

#include "geometry/line_reader.h"
#include "support/fresh_scene.h"

#include <cmath>
#include <cstdlib>
#include <random>

#include <gtest/gtest.h>

namespace mh::test {
namespace {

std::pair<float, std::string> read(const std::string& text) {
    TextCursor cursor = {text.data(), text.data() + text.size()};
    const float value = read_real(cursor);
    return {value, std::string(cursor.next, cursor.end)};
}

TEST(ReadReal, TakesTheLongestLeadingNumber) {
    const struct {
        std::string text;
        float value;
        const char* rest;
    } cases[] = {
        {"1.5abc", 1.5f, "abc"},
        {"", 0.0f, ""},
        {"nan", 0.0f, "nan"},
        {"inf", 0.0f, "inf"},
        {"0x10", 0.0f, "x10"},
        {"1,5", 1.0f, ",5"},
        {"0e999999999999", 0.0f, ""},
        {"-1e39", -INFINITY, ""},
        {"1e99999999999999999999", INFINITY, ""},
        {"1" + std::string(400, '0'), INFINITY, ""},
        {"0." + std::string(400, '0') + "1e401", 1.0f, ""},
    };

    for (const auto& c : cases)
        EXPECT_EQ(read(c.text), std::pair(c.value, std::string(c.rest))) << c.text;
}

// Oracle: the C library in the C locale, through a double as read_real does.
TEST(ReadReal, AgreesWithTheLibraryOnRandomText) {
    std::mt19937 random(17);
    const std::string alphabet = "0123456789012345678901234567.e+-";
    for (int i = 0; i < 20000; ++i) {
        std::string text = i % 2 == 0 ? "1." : "";
        for (std::size_t n = random() % 30; n > 0; --n)
            text += alphabet[random() % alphabet.size()];
        char* rest = nullptr;
        const auto expected = static_cast<float>(std::strtod(text.c_str(), &rest));
        EXPECT_EQ(read(text), std::pair(expected, std::string(rest))) << text;
    }
}

// The same pieces as reads of up to 4095 characters, whatever the buffer of the reader. Empty ones
// don't count: a read that stops just before the line's end leaves one.
TEST(ReadLine, SplitsTextAsALineBufferOf4096Does) {
    const TemporaryFolder folder;
    std::string text;
    std::mt19937 random(3);
    for (int i = 0; i < 400; ++i) {
        const std::size_t size = random() % 4 == 0 ? 4090 + random() % 10 : random() % 9000;
        text += std::string(size, static_cast<char>('a' + i % 26)) + (i % 7 == 0 ? "\r\n" : "\n");
    }
    text += "no newline at the end";
    folder.write("text", text);
    LineReader reader;
    reader.file = OpenInput("text");
    std::vector<std::string> lines, expected;
    for (TextCursor line; read_line(reader, line);)
        if (!at_end(line)) lines.emplace_back(line.next, line.end);
    const FileHandle oracle = OpenInput("text");
    for (std::string buffer(4096, '\0'); std::fgets(buffer.data(), 4096, oracle.get());) {
        std::string line = buffer.c_str();
        if (line.ends_with('\n')) line.pop_back();
        if (!line.empty()) expected.push_back(line);
    }
    EXPECT_EQ(lines, expected);
}

} // namespace
} // namespace mh::test
