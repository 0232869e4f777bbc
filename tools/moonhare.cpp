// The program moonhare: renders a scene directory, and converts images.
// SPDX-License-Identifier: MIT
#include "convert.h"
#include "frame/phases.h"
#include "frame/types.h"
#include "math/constants.h"

#include <filesystem>
#include <iostream>
#include <string>

#include <CLI/CLI.hpp>
#include <omp.h>

namespace {

constexpr int kWrongUse = 2;

struct Options {
    std::string scene;
    bool preview = false;
    int threads = 0; // 0: as many as the process may use
    std::string convert_from, convert_to;
    float exposure = 0.0f;
};

int render(const Options& options) {
    std::error_code error;
    if (!std::filesystem::is_directory(options.scene, error)) {
        std::cerr << "moonhare: " << options.scene << " is not a directory\n";
        return kWrongUse;
    }
    if (options.threads > 0) omp_set_num_threads(options.threads);
    mh::PreviewWindow = options.preview;
    mh::Go(options.scene.ends_with('/') ? options.scene : options.scene + "/");
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    CLI::App app("Renders the scene of a directory; its pictures go to the current directory.",
                 "moonhare");
    app.set_version_flag("--version", "moonhare " MOONHARE_VERSION);
    app.add_option("SCENE", options.scene, "Directory of the scene");
    app.add_flag("--preview", options.preview, "Show the picture in a window while it grows");
    app.add_option("--threads", options.threads, "Number of threads; default: all there are")
        ->check(CLI::Range(1, mh::kMaxThreads));

    CLI::App& convert = *app.add_subcommand("convert", "Write an image in another format");
    convert.add_option("IN", options.convert_from, "Image to read")->required();
    convert.add_option("OUT", options.convert_to, "File to write; its extension is the format")
        ->required();
    convert.add_option("--exposure", options.exposure, "Stops to brighten by")
        ->check(CLI::Range(-30.0f, 30.0f));

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& fault) {
        return app.exit(fault) == 0 ? 0 : kWrongUse;
    }
    if (convert.parsed())
        return mh::Convert(options.convert_from, options.convert_to, options.exposure);
    if (!options.scene.empty()) return render(options);
    std::cerr << "moonhare: a SCENE is required; --help tells more\n";
    return kWrongUse;
}
