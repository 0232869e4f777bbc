// The command lines of the benchmarks.
// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

namespace mh::bench {

struct Option {
    const char* name; // "--frames", or "SCENE" for what stands without a name
    const char* help;
    // A flag, a whole number of at least 1, a word, or any number of words
    std::variant<bool*, int*, std::string*, std::vector<std::string>*> value;
};

// Fills the values; the status to end with where the command line is wrong or asks for help.
std::optional<int> ReadOptions(int argc, char** argv, std::span<const Option> options);

} // namespace mh::bench
