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

// "seed 1, now 2; without adaptive": what differs in two lists of settings, with a word like "now"
// before what is wanted.
std::string SettingsDifference(const std::string& wanted, const std::string& found,
                               const std::string& before_wanted);

void put(std::string& bytes, const Identity& identity);
void take(Bytes& bytes, Identity& identity);

} // namespace mh
