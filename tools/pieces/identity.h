// What two files have to share to belong to one picture.
// SPDX-License-Identifier: MIT
#pragma once

#include "pieces/byte_fields.h"

#include <cstdint>
#include <string>

namespace mh {

struct Identity {
    std::string program;     // version and commit
    std::uint64_t scene = 0; // SceneDigest
    std::string settings;    // the seed among them, without region and number of frames

    bool operator==(const Identity&) const = default;
};

// What is wrong with one that should be the other; empty when they are the same.
std::string DifferenceFrom(const Identity& wanted, const Identity& found);

void put(std::string& bytes, const Identity& identity);
void take(Bytes& bytes, Identity& identity);

} // namespace mh
