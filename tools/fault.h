// Faults of a scene and where they stand.
// SPDX-License-Identifier: MIT
#pragma once

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

struct Fault {
    Place place;
    std::string message;
    std::string suggestion; // the legal word that may be meant; empty for none
};

inline std::string in_quotes(std::string_view word) {
    return '"' + std::string(word) + '"';
}

} // namespace mh
