// Tests for bias, by means over independent runs, with a stated power.
// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>

namespace mh::test {

struct Estimate {
    double mean = 0.0;
    double error = 0.0; // standard error of the mean
    int runs = 0;
};

// Of run(0), run(1), ...
Estimate mean_of_runs(int runs, const std::function<double(int)>& run);

// Bounds of what is expected, relative to it.
struct Bounds {
    double noticed = 0.01; // such a bias has to be found in 99 cases of 100
    double allowed = 0.0;  // such a bias is none
};

// Fails where the mean differs by more than is allowed and by more than happens by chance once in
// 1e6 (Student's t), and where the runs vary too much to find what has to be noticed. Prints the
// bias that the test notices.
void expect_unbiased(const std::string& name, const Estimate& seen, double expected,
                     const Bounds& bounds);

} // namespace mh::test
