// The exact text of every kind of report line.
// SPDX-License-Identifier: MIT
#include "run/report.h"

#include "support/expect.h"

#include <iomanip>
#include <iostream>

#include <gtest/gtest.h>

namespace mh {
namespace {

// Right-aligned in 16 columns, which a long value widens, whatever the host did to the stream.
TEST(Report, HasItsFormat) {
    const std::pair<void (*)(), const char*> cases[] = {
        {[] { ReportLine("n ", 12, ""); }, "n                12 \n"},
        {[] { ReportLine("n", 255, ""); }, "n              255 \n"},
        {[] {
             ReportLine("c", Vec3{1, -0.5f, 1000}, "n/a");
         },
         "c           1.0000           -0.5000         1000.0000 [ n/a ]\n"},
        {[] { ReportLine("x", 1e20f, "m"); }, "x 100000002004087734272.0000 [ m ]\n"},
        {[] { ReportPair("p", 1.5f, "a", "    ", 2.0f, "b"); },
         "p           1.5000 [ a ]               2.0000 [ b ]\n"},
        {[] { ReportProgress("level", 7, "n/a", false); }, "level                7 [ n/a ]\r"}};
    const auto flags = std::cout.flags();
    std::cout << std::hex << std::left << std::scientific << std::setfill('*');
    for (const auto& [write, text] : cases)
        EXPECT_EQ(test::printed_by(write), text);
    std::cout.flags(flags);
    std::cout << std::setfill(' ');
}

} // namespace
} // namespace mh
