// The program moonhare: renders a scene directory, looks for its faults, and works on images.
// SPDX-License-Identifier: MIT
#include "convert.h"
#include "options.h"
#include "render.h"

#include <cstdlib>
#include <iostream>

namespace {

int print(const std::string& text) {
    std::cout << text << std::flush;
    return std::cout ? mh::kDone : mh::kNotWritten;
}

int run(const mh::Arguments& arguments) {
    switch (arguments.command) {
    case mh::Command::render: return mh::RenderScene(arguments);
    case mh::Command::check:
    case mh::Command::info:
    case mh::Command::diff:
    case mh::Command::convert:
        return mh::Convert(arguments.first_image, arguments.second_image,
                           static_cast<float>(arguments.exposure));
    case mh::Command::man: return print(mh::ManualPage());
    case mh::Command::completion: return print(mh::BashCompletion());
    case mh::Command::none: break;
    }
    std::abort();
}

} // namespace

int main(int argc, char** argv) {
    mh::Arguments arguments;
    if (const std::optional<int> status = mh::ParseArguments(argc, argv, arguments)) return *status;
    return run(arguments);
}
