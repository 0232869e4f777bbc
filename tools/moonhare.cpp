// The program moonhare: renders a scene directory, looks for its faults, and works on images.
// SPDX-License-Identifier: MIT
#include "check/check.h"
#include "denoise/denoise.h"
#include "import/import.h"
#include "layout.h"
#include "options.h"
#include "pictures/convert.h"
#include "pictures/denoise.h"
#include "pieces/farm_script.h"
#include "pieces/merge.h"
#include "render.h"
#include "serve/serve.h"

#include <cstdlib>
#include <iostream>

namespace {

int print(const std::string& text) {
    std::cout << text << std::flush;
    return std::cout ? mh::kDone : mh::kNotWritten;
}

int run(const mh::Arguments& arguments) {
    switch (arguments.command) {
    case mh::Command::render:
        return mh::IsForeignFile(arguments.scene) ? mh::RenderForeignFile(arguments)
                                                  : mh::RenderScene(arguments);
    case mh::Command::serve: return mh::Serve(arguments);
    case mh::Command::merge: return mh::MergePieces(arguments);
    case mh::Command::farm: return mh::PrintFarmScript(arguments);
    case mh::Command::check: return mh::CheckScene(arguments);
    case mh::Command::info: return mh::DescribeScene(arguments);
    case mh::Command::import: return mh::ImportFile(arguments);
    case mh::Command::diff: return mh::CompareImages(arguments);
    case mh::Command::convert: return mh::ConvertImage(arguments);
    case mh::Command::denoise: return mh::DenoiseImage(arguments);
    case mh::Command::fmt: return mh::LayOutScene(arguments);
    case mh::Command::make: return mh::MakeScene(arguments);
    case mh::Command::man: return print(mh::ManualPage());
    case mh::Command::completion: return print(mh::Completion(arguments.shell));
    case mh::Command::none: break;
    }
    std::abort();
}

} // namespace

int main(int argc, char** argv) {
    std::ios::sync_with_stdio(false); // the report of a large scene has millions of lines
    mh::Arguments arguments;
    if (const std::optional<int> status = mh::ParseArguments(argc, argv, arguments)) return *status;
    mh::UseOpenImageDenoise(arguments.open_image_denoise);
    return run(arguments);
}
