// Numbers and lines of text files.
// SPDX-License-Identifier: MIT
#include "geometry/number_text.h"

#include "geometry/line_reader.h"
#include "support/fresh_scene.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <random>
#include <tuple>

#include <gtest/gtest.h>

namespace mh::test {
namespace {

std::pair<float, std::string> read(const std::string& text) {
    TextCursor cursor = {text.data(), text.data() + text.size()};
    const float value = read_real(cursor);
    return {value, std::string(cursor.next, cursor.end)};
}

// What the C library would read further, or as other numbers.
TEST(ReadReal, KnowsDecimalNumbersAlone) {
    const std::tuple<const char*, float, const char*> cases[] = {
        {"nan", 0.0f, "nan"}, {"inf", 0.0f, "inf"}, {"0x10", 0.0f, "x10"}, {"1,5", 1.0f, ",5"}};
    for (const auto& [text, value, rest] : cases)
        EXPECT_EQ(read(text), std::pair(value, std::string(rest)));
}

// Oracle: the C library in the C locale, through a double as read_real does.
TEST(ReadReal, AgreesWithTheLibraryOnRandomText) {
    std::mt19937 random(17);
    const std::string alphabet = "0123456789012345678901234567.e+-",
                      heads[] = {"", "1.", "0e", "1e9"};
    for (std::size_t i = 0; i < 20000; ++i) {
        std::string text = heads[i % 4] + std::string(i % 100 == 0 ? 400 : 0, '0');
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
    const InputFile oracle = OpenInput("text");
    std::string buffer(4096, '\0');
    for (TextCursor line; read_line(reader, line);) {
        if (at_end(line)) continue;
        std::string expected;
        while (expected.empty() && std::fgets(buffer.data(), 4096, oracle.handle.get()) != nullptr)
            expected.assign(buffer.c_str(), std::strcspn(buffer.c_str(), "\n"));
        ASSERT_EQ(std::string(line.next, line.end), expected);
    }
    EXPECT_EQ(std::fgets(buffer.data(), 4096, oracle.handle.get()), nullptr);
}

} // namespace
} // namespace mh::test
