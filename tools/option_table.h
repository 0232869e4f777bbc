// Rows of the table of commands and options.
// SPDX-License-Identifier: MIT
#pragma once

#include "options.h"

#include <span>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace mh {

struct OptionRow {
    const char* name;  // "--sample"; a name without dashes is an argument by its place
    const char* value; // stands for the value in help texts; "a|b" lists all legal ones
    const char* help;
    void (*add)(CLI::App& app, const OptionRow& row, Arguments& arguments);
    double lowest = 0.0, highest = 0.0; // of a number; equal: any
    bool optional = false;              // of an argument by its place
};

struct CommandRow {
    const char* name;
    const char* help;
    Command command;
    std::span<const OptionRow> options;
};

constexpr const char* kSummary =
    "Renders the scene of a directory, by physically based ray tracing.";

inline bool is_positional(const OptionRow& row) {
    return row.name[0] != '-';
}

std::span<const CommandRow> Commands();

// The legal values of a row that lists them.
std::vector<std::string> choices(const OptionRow& row);

} // namespace mh
