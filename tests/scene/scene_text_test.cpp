// The text of scene files: numbers as stream extraction reads them, strings, line ends.
// SPDX-License-Identifier: MIT
#include "scene/scene_text.h"

#include <iterator>
#include <limits>
#include <random>
#include <sstream>
#include <vector>

#include <gtest/gtest.h>

namespace mh {
namespace {

// What a stream extracts of a text, and whether it does; the rest of what it takes.
template<typename Number>
void expect_as_streams(const std::string& text, Number low, Number high,
                       bool (*take)(std::string_view&, Number&)) {
    constexpr Number kUntouched = -77;
    std::istringstream stream(text);
    Number wanted = kUntouched, taken = kUntouched;
    const bool right = !(stream >> wanted).fail() && wanted >= low && wanted <= high;
    const std::string longer = text + ".5e7"; // of which nothing is to be read
    std::string_view rest = std::string_view(longer).substr(0, text.size());
    EXPECT_EQ(take(rest, taken), right) << text;
    EXPECT_EQ(taken, right ? wanted : kUntouched) << text;
    if (!right) return;
    stream.clear();
    EXPECT_EQ(std::string(rest), std::string(std::istreambuf_iterator<char>(stream), {})) << text;
}

TEST(LineReader, TakesNumbersLikeAStreamExtraction) {
    constexpr float kLargest = std::numeric_limits<float>::max();
    constexpr std::int64_t kLowest = std::numeric_limits<std::int32_t>::min();
    constexpr std::int64_t kHighest = std::numeric_limits<std::int32_t>::max();
    std::vector<std::string> texts = {
        "  +1e-3 x", "1.5abc", "3.4e38", "1e39",        "1e",          "- 1",        "+-1", ".",
        "nan",       " +12",   "-.25",   "-2147483648", "2147483647x", "2147483648", "one"};
    std::minstd_rand random(3);
    for (int i = 0; i < 3000; ++i) {
        std::string& text = texts.emplace_back();
        for (auto n = random() % 9; n > 0; --n)
            text += " 0123456789.e+-"[random() % 15];
    }
    for (const std::string& text : texts) {
        expect_as_streams<float>(text, -kLargest, kLargest, take_real);
        expect_as_streams<std::int64_t>(text, kLowest, kHighest,
                                        [](std::string_view& rest, std::int64_t& value) {
                                            return take_whole(rest, kLowest, kHighest, value);
                                        });
    }
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
    std::vector<std::string> lines;
    for (std::string_view line; next_line(text, line);)
        lines.emplace_back(line);
    EXPECT_EQ(lines, (std::vector<std::string>{"a", "", longest, "b"}));
    std::string_view line;
    EXPECT_FALSE(next_line(text, line));
    EXPECT_EQ(text.line_number, 4);
}

} // namespace
} // namespace mh
