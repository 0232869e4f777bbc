// Exact sums of the values of a row of an image. Almost all values are whole steps of 2^-36 and few
// enough of them for 64 bits; the rest, which many rows never have, is kept in 128 bits. Rows of
// planes are sums of doubles, of values in steps of 2^-64.
// SPDX-License-Identifier: MIT
#pragma once

#include "integrate/types.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace mh {

// The largest value of a frame that counts: sums of 65535 of them keep within their 64 bits.
constexpr float kLargestOfFrame = 7.0368744e13f; // 2^46

// Adds values[i] * factor to sum i. At most 65535 times.
void add_values(ExactRow& row, const float* values, float factor);

double value_of(const ExactRow& row, std::size_t i);

// All sums row by row, and rows like these that hold such sums.
std::vector<FixedPoint> SumsOf(const std::vector<ExactRow>& rows);
std::vector<ExactRow> RowsOf(const std::vector<FixedPoint>& sums,
                             const std::vector<ExactRow>& like);

} // namespace mh
