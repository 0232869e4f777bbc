// Binary hair files: reading, finishing of the part, its tree.
// SPDX-License-Identifier: MIT
#include "geometry/hair_reader.h"
#include "harness.h"

void mh::fuzz::Try(std::string_view input) {
    AssembleFrom(input, ReadHair);
}
