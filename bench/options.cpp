// The command lines of the benchmarks, parsed by CLI11.
// SPDX-License-Identifier: MIT
#include "options.h"

#include <limits>

#include <CLI/CLI.hpp>

namespace mh::bench {

namespace {

void add(CLI::App& app, const Option& option, bool* value) {
    app.add_flag(option.name, *value, option.help);
}

void add(CLI::App& app, const Option& option, int* value) {
    app.add_option(option.name, *value, option.help)
        ->check(CLI::Range(1, std::numeric_limits<int>::max()))
        ->capture_default_str();
}

template<typename Words>
void add(CLI::App& app, const Option& option, Words* value) {
    app.add_option(option.name, *value, option.help);
}

} // namespace

std::optional<int> ReadOptions(int argc, char** argv, std::span<const Option> options) {
    CLI::App app;
    for (const Option& option : options)
        std::visit([&](auto* value) { add(app, option, value); }, option.value);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& fault) {
        return app.exit(fault);
    }
    return std::nullopt;
}

} // namespace mh::bench
