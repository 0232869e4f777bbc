// Tests for bias.
// SPDX-License-Identifier: MIT
#include "support/statistics.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

#include <gtest/gtest.h>

namespace mh::test {
namespace {

// P(|T| < t) of Student's t with so many degrees of freedom [AbramowitzStegun64] 26.7.3, 26.7.4.
double share_within(double t, int freedom) {
    const double angle = std::atan(t / std::sqrt(static_cast<double>(freedom)));
    const double c = std::cos(angle), s = std::sin(angle);
    const bool odd = freedom % 2 != 0;
    double term = odd ? s * c : s, sum = 0.0;
    for (int k = odd ? 3 : 2; k <= freedom; k += 2) {
        sum += term;
        term *= c * c * (k - 1) / k;
    }
    return odd ? 2.0 / std::acos(-1.0) * (angle + sum) : sum;
}

double distance_of_share(double share, int freedom) {
    double low = 0.0, high = 1e7;
    for (int i = 0; i < 200; ++i) {
        const double middle = 0.5 * (low + high);
        (share_within(middle, freedom) < share ? low : high) = middle;
    }
    return high;
}

} // namespace

Estimate mean_of_runs(int runs, const std::function<double(int)>& run) {
    std::vector<double> values;
    Estimate seen = {.runs = runs};
    for (int i = 0; i < runs; ++i) {
        values.push_back(run(i));
        seen.mean += values.back() / runs;
    }
    double squares = 0.0;
    for (const double value : values)
        squares += (value - seen.mean) * (value - seen.mean);
    seen.error = std::sqrt(squares / runs / (runs - 1));
    return seen;
}

void expect_unbiased(const std::string& name, const Estimate& seen, double expected,
                     const Bounds& bounds) {
    constexpr double kChance = 1e-6, kMissed = 0.01;
    const double bias = seen.mean / expected - 1.0, error = seen.error / std::fabs(expected);
    const double limit = bounds.allowed + error * distance_of_share(1.0 - kChance, seen.runs - 1);
    const double noticed = limit + error * distance_of_share(1.0 - 2.0 * kMissed, seen.runs - 1);
    std::printf("%s: bias %+.4f, limit %.4f (by chance once in 1e6), notices %.4f with 99 %%\n",
                name.c_str(), bias, limit, noticed);
    EXPECT_LE(std::fabs(bias), limit) << name;
    EXPECT_LE(noticed, bounds.noticed) << name;
}

} // namespace mh::test
