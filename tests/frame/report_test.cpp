// The exact text of every kind of report line.
// SPDX-License-Identifier: MIT
#include "frame/report.h"

#include <iomanip>
#include <iostream>
#include <sstream>

#include <gtest/gtest.h>

namespace mh {

namespace {

// What a writer prints to std::cout.
template<typename Writer>
std::string printed(Writer write) {
    std::ostringstream text;
    std::streambuf* console = std::cout.rdbuf(text.rdbuf());
    write();
    std::cout.rdbuf(console);
    return text.str();
}

const std::string kRule = std::string(80, '_') + "\n\n";

TEST(Report, RightAlignsValuesIn16Columns) {
    EXPECT_EQ(printed([] { ReportLine("scene parsing", 3.25f, "seconds"); }),
              "scene parsing           3.2500 [ seconds ]\n");
    EXPECT_EQ(printed([] { ReportLine("n ", 12, ""); }), "n                12 \n");
    EXPECT_EQ(printed([] {
                  ReportLine("c", Vec3{1, -0.5f, 1000}, "n/a");
              }),
              "c           1.0000           -0.5000         1000.0000 [ n/a ]\n");
    EXPECT_EQ(printed([] { ReportCount("photons", 3, 1048576.0 * 2.5); }),
              "photons                3            2.5000 [ M bytes ]\n");
    EXPECT_EQ(printed([] { ReportPair("p", 1.5f, "a", "    ", 2.0f, "b"); }),
              "p           1.5000 [ a ]               2.0000 [ b ]\n");
    EXPECT_EQ(printed([] { ReportProgress("level", 7, "n/a", false); }),
              "level                7 [ n/a ]\r");
}

TEST(Report, WidensTheFieldOfALongValue) {
    EXPECT_EQ(printed([] { ReportLine("x", 1e20f, "m"); }), "x 100000002004087734272.0000 [ m ]\n");
}

TEST(Report, EndsErrorsWithARuleAndWarningsWithout) {
    EXPECT_EQ(printed([] { ReportWarning("w"); }), "warning :( \tw\n");
    EXPECT_EQ(printed([] { ReportError("e"); }), "error :( \te\n" + kRule);
    EXPECT_EQ(printed([] { ReportText("t"); }), "t\n");
}

TEST(Report, KeepsItsFormatWhateverTheHostDidToTheStream) {
    const auto flags = std::cout.flags();
    std::cout << std::hex << std::left << std::scientific << std::setfill('*');
    EXPECT_EQ(printed([] { ReportLine("n", 255, ""); }), "n              255 \n");
    EXPECT_EQ(printed([] { ReportLine("x", 0.5f, ""); }), "x           0.5000 \n");
    std::cout.flags(flags);
    std::cout << std::setfill(' ');
}

} // namespace

} // namespace mh
