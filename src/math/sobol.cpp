// The matrices of the point sets, and their tables.
// SPDX-License-Identifier: MIT
#include "math/sobol.h"

namespace mh {

namespace {

// Column j: what digit j of a point's number adds to the coordinate, whose first digit is the
// lowest bit.
using Matrix = std::array<std::uint32_t, 32>;

constexpr Matrix kIdentity = [] {
    Matrix columns = {};
    for (std::uint32_t j = 0; j < 32; ++j)
        columns[j] = 1u << j;
    return columns;
}();

// Of the third dimension. Any upper triangular matrix makes a Sobol pair with its product by
// Pascal's; this one was searched column by column for evenness in all four dimensions: boxes of
// volume 2^-k hold equal numbers of 2^m points for k <= m - 2 up to 128 points, m - 3 up to 8192.
// Columns after the 14th are random.
constexpr Matrix kThird = {
    0x1,       0x2,       0x5,       0xB,       0x16,       0x3F,       0x5D,       0x8A,
    0x1B9,     0x3F3,     0x482,     0x93C,     0x1B83,     0x30BC,     0x57C1,     0x8F9F,
    0x15C22,   0x30F17,   0x4F359,   0xE81BC,   0x19966F,   0x3F0783,   0x7E6E50,   0x8C6079,
    0x15F8D3B, 0x24B0925, 0x4B9B8A3, 0xCB8756E, 0x10A524E6, 0x34C413AE, 0x6E313C9F, 0xFE3481F3};

// Product with Pascal's matrix modulo 2, whose rows are the powers of x + 1.
constexpr std::uint32_t times_pascal(std::uint32_t x) {
    x ^= x >> 16;
    x ^= (x & 0xFF00FF00u) >> 8;
    x ^= (x & 0xF0F0F0F0u) >> 4;
    x ^= (x & 0xCCCCCCCCu) >> 2;
    return x ^ (x & 0xAAAAAAAAu) >> 1;
}

constexpr PointTable table_of(const Matrix& matrix) {
    PointTable table = {};
    for (std::uint32_t bit = 0; bit < 32; ++bit) {
        const std::uint32_t x = matrix[31 - bit]; // numbers come with reversed digits
        for (std::uint32_t byte = 0; byte < 256; ++byte)
            if ((byte >> bit % 8 & 1u) != 0)
                table[bit / 8][byte] ^= std::uint64_t{x} << 32 | times_pascal(x);
    }
    return table;
}

} // namespace

constinit const std::array<PointTable, 2> kPointTables = {table_of(kIdentity), table_of(kThird)};

} // namespace mh
