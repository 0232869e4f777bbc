// Faults of a scene and where they stand.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace mh {

// A place in a file of the scene, or the scene as a whole when there is no line.
struct Place {
    std::string file;
    int line = 0;     // from 1; 0 for the whole
    int column = 0;   // from 1
    std::string text; // the line
};

enum class Severity : std::uint8_t {
    fault,   // something of the scene is missing, is not read or cannot be shown
    warning, // it is taken as it stands, but hardly as it is meant
    note,    // worth knowing
};

struct Fault {
    Place place;
    std::string message;
    std::string suggestion = {}; // the legal word that may be meant; empty for none
    Severity severity = Severity::fault;
};

inline std::string in_quotes(std::string_view word) {
    return '"' + std::string(word) + '"';
}

} // namespace mh
