// The text of scene files: numbers as stream extraction reads them, strings, line ends.
// SPDX-License-Identifier: MIT
#include "scene/line_reader.h"

#include <limits>

#include <gtest/gtest.h>

namespace mh {
namespace {

constexpr float kUntouched = -77.0f;

struct RealCase {
    const char* text;
    float value; // kUntouched: refused
    const char* rest;
};

TEST(LineReader, TakesRealNumbersLikeAStreamExtraction) {
    const RealCase cases[] = {
        {"0.5", 0.5f, ""},
        {"  +1e-3 x", 1e-3f, " x"},
        {"-.25", -0.25f, ""},
        {"1.5abc", 1.5f, "abc"},
        {"3.4e38", 3.4e38f, ""},
        {"1e-60", 0.0f, ""}, // below the smallest float
        {"1e39", kUntouched, "1e39"},
        {"1e", kUntouched, "1e"},
        {"nan", kUntouched, "nan"},
        {"- 1", kUntouched, "- 1"},
        {"+-1", kUntouched, "+-1"},
        {".", kUntouched, "."},
    };
    for (const RealCase& c : cases) {
        std::string_view rest = c.text;
        float value = kUntouched;
        EXPECT_EQ(take_real(rest, value), c.value != kUntouched) << c.text;
        EXPECT_EQ(value, c.value) << c.text;
        EXPECT_EQ(rest, c.rest) << c.text;
    }
}

TEST(LineReader, TakesWholeNumbersWithinTheirRange) {
    constexpr std::int64_t kLowest = std::numeric_limits<std::int32_t>::min();
    constexpr std::int64_t kHighest = std::numeric_limits<std::int32_t>::max();
    const auto taken = [](std::string_view text) {
        std::int64_t value = -77;
        take_whole(text, kLowest, kHighest, value);
        return value;
    };
    EXPECT_EQ(taken(" +12"), 12);
    EXPECT_EQ(taken("-2147483648"), kLowest);
    EXPECT_EQ(taken("2147483648"), -77);
    EXPECT_EQ(taken("99999999999999999999999"), -77);
    EXPECT_EQ(taken("0x10"), 0);
    EXPECT_EQ(taken("1.9"), 1);
    EXPECT_EQ(taken("one"), -77);
}

TEST(LineReader, TakesWhatStandsBetweenTheFirstTwoQuotes) {
    std::string_view rest = R"( x "a b\c" "d" tail)";
    EXPECT_EQ(take_quoted(rest), R"(a b\c)");
    EXPECT_EQ(take_quoted(rest), "d");
    EXPECT_EQ(take_quoted(rest), "");
    rest = R"("to the end)";
    EXPECT_EQ(take_quoted(rest), "to the end");
    EXPECT_EQ(take_quoted(rest), "");
}

TEST(LineReader, SplitsLinesOfEverySystemAndStopsAtOneThatIsTooLong) {
    const std::string longest(kMaxLineLength, 'x');
    SceneText text{"a\r\n\n" + longest + "\nb\n" + longest + "y\nnever", 0, 0};
    text.content.insert(text.content.find('b') + 1, std::string(1, '\0') + "c");
    std::string_view line;
    ASSERT_TRUE(next_line(text, line));
    EXPECT_EQ(line, "a");
    ASSERT_TRUE(next_line(text, line));
    EXPECT_EQ(line, "");
    ASSERT_TRUE(next_line(text, line));
    EXPECT_EQ(line, longest);
    ASSERT_TRUE(next_line(text, line));
    EXPECT_EQ(line, "b");
    EXPECT_FALSE(next_line(text, line));
    EXPECT_FALSE(next_line(text, line));
    EXPECT_EQ(text.line_number, 4);
}

} // namespace
} // namespace mh
