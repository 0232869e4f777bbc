// The table of commands and options of the program: parsing, --help, the manual page and the
// completion of shells all come from it.
// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace mh {

// Exit statuses of the program.
constexpr int kDone = 0;
constexpr int kSceneFaults = 1; // also: images that differ, files that cannot be read
constexpr int kWrongUse = 2;
constexpr int kNotWritten = 3;
constexpr int kInterrupted = 130;

enum class Command {
    none,
    render,
    serve,
    merge,
    farm,
    check,
    info,
    import,
    convert,
    denoise,
    diff,
    fmt,
    make,
    man,
    completion
};

// Everything that a command line can say; what is not given stays empty.
struct Arguments {
    Command command = Command::none;
    std::string scene;
    std::string mesh; // that a new scene shows

    // Overrides of the scene.
    std::optional<std::array<int, 2>> resolution; // width, height
    std::optional<std::array<int, 4>> region;     // x0, y0, x1, y1
    std::optional<int> sample, gather, bounce, ray_depth, camera;
    std::string mode;              // gather, path
    std::string exr;               // half, float
    std::vector<std::string> aovs; // types of further images of the camera
    std::string exr_layers;
    std::string layer;     // of the images to read
    std::string estimator; // classic, exact
    std::optional<std::int64_t> seed;
    std::optional<double> noise_target;
    bool adaptive = false;

    std::string output_dir, beauty, report, checkpoint, resume;
    std::optional<std::array<int, 2>> frames; // first, one behind the last
    std::string partial, photons, use_photons;
    std::string progress; // bar, plain, json, none; empty: by where standard error goes
    std::optional<int> threads;
    std::optional<double> time_limit_s, write_every_s;
    bool preview = false, quiet = false;
    std::string log; // file of the report

    std::string listen = "127.0.0.1"; // address of the live view
    int port = 0;                     // any that is free
    double send_rate_mb = 4.0;        // of pictures, a second
    bool watch = false;
    std::string token_file;

    bool json = false, strict = false, confine = false, only_check = false, denoise = false;
    bool open_image_denoise = false; // "--denoise oidn"
    std::string shell = "bash";

    std::string engine; // slurm
    int tasks = 0;

    std::vector<std::string> pieces;
    bool allow_gaps = false;

    std::string import_file, import_dir;
    std::string textures = "copy"; // copy, link
    std::optional<double> time_s;  // of the imported animation
    std::optional<double> frames_per_second;
    bool force = false, list_formats = false;

    std::string first_image, second_image;                  // IN and OUT, or A and B
    std::string albedo, normal, depth, noise_image, output; // of the command "denoise"
    std::string tonemap = "none";
    std::string difference_image;
    std::optional<double> fail_above;
    double exposure = 0.0;
};

// The arguments, or the exit status with which the program ends at once.
std::optional<int> ParseArguments(int argc, char** argv, Arguments& arguments);

// Pages made from the table.
std::string ManualPage();
std::string Completion(const std::string& shell); // bash, zsh, fish

// Name, version, commit, compiler and the instruction set in use, in lines.
std::string VersionText();

} // namespace mh
