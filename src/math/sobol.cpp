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

// Of the fifth and the seventh, found in the same way: with the pair before them boxes hold equal
// numbers for k <= m - 4 up to 16384 points, with other pairs for k <= m - 6.
constexpr Matrix kFifth = {
    0x1,       0x3,       0x5,       0xF,       0x16,       0x28,       0x4F,       0xF4,
    0x1AA,     0x38C,     0x661,     0xCFA,     0x1A85,     0x2EE5,     0x6168,     0xB503,
    0x1CE83,   0x29B5A,   0x7D78B,   0xAECCC,   0x14A24E,   0x25970B,   0x7107E7,   0xDA421C,
    0x1B447C0, 0x314932D, 0x6A54199, 0xA39E909, 0x11C33946, 0x3D5C1A58, 0x41B95509, 0x9FDC0E93};

constexpr Matrix kSeventh = {
    0x1,       0x2,       0x5,       0xB,       0x1B,       0x31,       0x68,       0xF7,
    0x178,     0x242,     0x614,     0xB29,     0x1320,     0x3CF4,     0x6B56,     0x8589,
    0x1C8EF,   0x3CA73,   0x614F5,   0x8F72B,   0x182F11,   0x266248,   0x592FAC,   0xAC7007,
    0x1FF2F65, 0x30EF329, 0x5284F48, 0xCAD7A63, 0x125F45A8, 0x330A3C9A, 0x50B582EA, 0x8DC80F3C};

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

constexpr DigitValues digit_values() {
    DigitValues values = {};
    float unit = 1.0f;
    for (auto& of_byte : values) {
        for (std::uint32_t byte = 0; byte < 256; ++byte)
            of_byte[byte] = unit * static_cast<float>(reverse_bits(byte)) * 0x1p-32f;
        unit /= 256.0f;
    }
    return values;
}

} // namespace

constinit const DigitValues kDigitValues = digit_values();
constinit const std::array<PointTable, 4> kPointTables = {table_of(kIdentity), table_of(kThird),
                                                          table_of(kFifth), table_of(kSeventh)};

} // namespace mh
