// The exact text of every kind of report line.
// SPDX-License-Identifier: MIT
#include "frame/report.h"

#include "support/expect.h"

#include <iomanip>
#include <iostream>

#include <gtest/gtest.h>

namespace mh {
namespace {

using test::printed_by;

TEST(Report, RightAlignsValuesIn16Columns) {
    EXPECT_EQ(printed_by([] { ReportLine("n ", 12, ""); }), "n                12 \n");
    EXPECT_EQ(printed_by([] {
                  ReportLine("c", Vec3{1, -0.5f, 1000}, "n/a");
              }),
              "c           1.0000           -0.5000         1000.0000 [ n/a ]\n");
    EXPECT_EQ(printed_by([] { ReportPair("p", 1.5f, "a", "    ", 2.0f, "b"); }),
              "p           1.5000 [ a ]               2.0000 [ b ]\n");
    EXPECT_EQ(printed_by([] { ReportProgress("level", 7, "n/a", false); }),
              "level                7 [ n/a ]\r");
}

TEST(Report, WidensTheFieldOfALongValue) {
    EXPECT_EQ(printed_by([] { ReportLine("x", 1e20f, "m"); }),
              "x 100000002004087734272.0000 [ m ]\n");
}

TEST(Report, KeepsItsFormatWhateverTheHostDidToTheStream) {
    const auto flags = std::cout.flags();
    std::cout << std::hex << std::left << std::scientific << std::setfill('*');
    EXPECT_EQ(printed_by([] { ReportLine("n", 255, ""); }), "n              255 \n");
    EXPECT_EQ(printed_by([] { ReportLine("x", 0.5f, ""); }), "x           0.5000 \n");
    std::cout.flags(flags);
    std::cout << std::setfill(' ');
}

} // namespace
} // namespace mh
