// The table of commands and options, and its way into the argument parser.
// SPDX-License-Identifier: MIT
#include "options.h"

#include "denoise/denoise.h"
#include "fault.h"
#include "math/at.h"
#include "option_table.h"
#include "scene/blocks.h"
#include "spelling.h"
#include "version.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <span>
#include <sstream>
#include <string_view>
#include <type_traits>

#include <CLI/CLI.hpp>

namespace mh {

namespace {

constexpr double kMostTasks = 65535, kMostPort = 65535;
constexpr double kMostThreads = 256, kMostFrames = 65535, kMostInt = 2147483647, kMostSeconds = 1e9,
                 kMostSeed = 9.2233720368547e18;

template<typename T>
struct IsOptional : std::false_type {};

template<typename T>
struct IsOptional<std::optional<T>> : std::true_type {};

// Whole numbers of a text like "640x480" or "0,0,64,64"; false unless there are exactly these.
template<std::size_t count>
bool parse_wholes(const std::string& text, char separator, std::array<int, count>& numbers) {
    std::istringstream stream(text);
    for (std::size_t i = 0; i < count; ++i) {
        if (i > 0 && stream.get() != separator) return false;
        if (!(stream >> numbers[i]) || numbers[i] < 0) return false;
    }
    return stream.get() == std::istringstream::traits_type::eof();
}

bool holds_pixels(const std::array<int, 2>& size) {
    return size[0] > 0 && size[1] > 0;
}

bool holds_pixels(const std::array<int, 4>& region) {
    return region[0] < region[2] && region[1] < region[3];
}

// Why the text is not used; NaN compares false with both limits.
std::string fault_of(const std::string& text, const OptionRow& row, bool whole) {
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    const bool is_number = *end == '\0' && !text.empty();
    if (is_number && whole && value != std::floor(value)) return text + " is not a whole number";
    if (is_number && value >= row.lowest && value <= row.highest) return {};
    std::ostringstream fault;
    fault.precision(10);
    fault << text << " is not a number from ";
    if (whole)
        fault << static_cast<std::int64_t>(row.lowest) << " to "
              << static_cast<std::int64_t>(row.highest);
    else
        fault << row.lowest << " to " << row.highest;
    return fault.str();
}

template<typename T>
void limit(CLI::Option& option, const OptionRow& row) {
    if constexpr (std::is_arithmetic_v<T>)
        if (row.lowest < row.highest)
            option.check([&row](const std::string& text) {
                return fault_of(text, row, std::is_integral_v<T>);
            });
}

// Stores into the member; a value placeholder of several words separated by | is the list of them.
template<auto member>
void bind(CLI::App& app, const OptionRow& row, Arguments& arguments) {
    auto& field = arguments.*member;
    using Field = std::remove_reference_t<decltype(field)>;
    CLI::Option* option = nullptr;
    if constexpr (std::is_same_v<Field, bool>) {
        option = app.add_flag(row.name, field, row.help);
    } else if constexpr (IsOptional<Field>::value) {
        using Value = typename Field::value_type;
        option = app.add_option_function<Value>(
            row.name, [&field](const Value& value) { field = value; }, row.help);
        limit<Value>(*option, row);
    } else {
        option = app.add_option(row.name, field, row.help);
        limit<Field>(*option, row);
    }
    if constexpr (!std::is_same_v<Field, bool>) option->type_name(row.value);
    const std::vector<std::string> words = choices(row);
    if (!words.empty()) option->check(CLI::IsMember(words).description(""))->type_name(row.value);
    if (row.name[0] != '-' && !row.optional) option->required();
}

template<auto member>
void bind_required(CLI::App& app, const OptionRow& row, Arguments& arguments) {
    bind<member>(app, row, arguments);
    app.get_option(row.name)->required();
}

template<auto member, char separator>
void bind_wholes(CLI::App& app, const OptionRow& row, Arguments& arguments) {
    auto& field = arguments.*member;
    app.add_option_function<std::string>(
           row.name,
           [&field, &row](const std::string& text) {
               if (!parse_wholes(text, separator, field.emplace()))
                   throw CLI::ValidationError(row.name, text + " is not of the form " + row.value);
               if (!holds_pixels(*field))
                   throw CLI::ValidationError(row.name, text + " contains no pixels");
           },
           row.help)
        ->type_name(row.value);
}

void bind_frames(CLI::App& app, const OptionRow& row, Arguments& arguments) {
    app.add_option_function<std::string>(
           row.name,
           [&arguments, &row](const std::string& text) {
               std::array<int, 2>& frames = arguments.frames.emplace();
               if (!parse_wholes(text, ':', frames))
                   throw CLI::ValidationError(row.name, text + " is not of the form " + row.value);
               if (frames[0] >= frames[1])
                   throw CLI::ValidationError(row.name, text + " holds no frame");
           },
           row.help)
        ->type_name(row.value);
}

std::vector<std::string> types_of(const OptionRow& row, const std::string& text) {
    if (text == "all") return ChannelNames(true);
    const std::vector<std::string> known = ChannelNames(false);
    std::vector<std::string> types;
    std::istringstream words(text);
    for (std::string word; std::getline(words, word, ',');) {
        if (std::find(known.begin(), known.end(), word) == known.end())
            throw CLI::ValidationError(row.name, '"' + word + "\" is not a type of image");
        types.push_back(word);
    }
    return types;
}

void bind_aovs(CLI::App& app, const OptionRow& row, Arguments& arguments) {
    app.add_option_function<std::string>(
           row.name,
           [&arguments, &row](const std::string& text) { arguments.aovs = types_of(row, text); },
           row.help)
        ->type_name(row.value);
}

using A = Arguments;

constexpr OptionRow kSceneRows[] = {
    {"SCENE", "DIR", "Directory of the scene", bind<&A::scene>},
    {"--resolution", "WxH", "Size of the picture in pixels", bind_wholes<&A::resolution, 'x'>},
    {"--region", "x0,y0,x1,y1", "Columns and rows to render; the last are not included",
     bind_wholes<&A::region, ','>},
    {"--sample", "N", "Frames; each adds one sample to every pixel", bind<&A::sample>, 1,
     kMostFrames},
    {"--gather", "N", "Gather rays of a point over the run", bind<&A::gather>, 1, kMostInt},
    {"--bounce", "N", "Levels of diffuse and glossy bounces", bind<&A::bounce>, 1, kMostInt},
    {"--ray-depth", "N", "Longest path", bind<&A::ray_depth>, 1, 255},
    {"--mode", "gather|path", "Final gathering from photons, or path tracing", bind<&A::mode>},
    {"--estimator", "classic|exact", "How light is estimated; exact has no known bias",
     bind<&A::estimator>},
    {"--seed", "N", "Draw all random numbers from N: the same picture in every run", bind<&A::seed>,
     0, kMostSeed},
    {"--noise", "X", "End when the relative error is below X; --sample is then the most",
     bind<&A::noise_target>, 1e-6, 1e3},
    {"--adaptive", "", "Give frames after the 16th to the parts that need them",
     bind<&A::adaptive>},
    {"--camera", "N", "Which camera renders, from 0; default: 0. The others write nothing",
     bind<&A::camera>, 0, kMostInt},
    {"--aov", "LIST", "Further images: types like depth,normal, or all that first hits fill",
     bind_aovs},
    {"--output-dir", "DIR", "Where pictures go; made if it is missing", bind<&A::output_dir>},
    {"--beauty", "FILE", "File name of the picture; its extension is the format", bind<&A::beauty>},
    {"--exr", "half|float", "Width of the numbers in .exr files", bind<&A::exr>},
    {"--threads", "N", "Number of threads; default: what the process may use", bind<&A::threads>, 1,
     kMostThreads},
    {"--confine", "", "Read no file that the scene names outside of its folder", bind<&A::confine>},
};

constexpr OptionRow kLayersRow = {
    "--exr-layers", "FILE", "Write all images as layers of one EXR file too", bind<&A::exr_layers>};

constexpr OptionRow kRunRows[] = {
    {"--denoise", "",
     "Write a denoised picture too, and denoised light AOVs; --denoise oidn uses Open Image "
     "Denoise "
     "instead",
     bind<&A::denoise>},
    kLayersRow,
    {"--strict", "", "Refuse a scene with faults or warnings", bind<&A::strict>},
    {"--preview", "", "Show the picture in a window while it grows", bind<&A::preview>},
    {"--time-limit", "S", "Stop after this many seconds, dropping the frame in progress",
     bind<&A::time_limit_s>, 0, kMostSeconds},
    {"--write-every", "S", "Write pictures and checkpoint at this interval in seconds",
     bind<&A::write_every_s>, 0, kMostSeconds},
    {"--checkpoint", "FILE", "Save what is needed to resume later", bind<&A::checkpoint>},
    {"--resume", "FILE", "Resume from a checkpoint of the same scene", bind<&A::resume>},
    {"--frames", "A:B", "Render only frames A to B - 1, for --partial", bind_frames},
    {"--partial", "FILE", "Write the sums of the frames, for merge, and no pictures",
     bind<&A::partial>},
    {"--photons", "FILE", "Cast the photons, write them there, and render nothing",
     bind<&A::photons>},
    {"--use-photons", "FILE", "Read the photons from there in place of casting them",
     bind<&A::use_photons>},
    {"--progress", "bar|plain|json|none", "Form of the progress on standard error",
     bind<&A::progress>},
    {"--log", "FILE", "Write the console report there, not to standard output", bind<&A::log>},
    {"--quiet", "", "No console report, and no progress unless --progress asks for it",
     bind<&A::quiet>},
    {"--report", "FILE", "Write times, memory, rays and statistics as JSON", bind<&A::report>},
};

constexpr OptionRow kViewRows[] = {
    {"--listen", "ADDRESS", "Address to listen on; 127.0.0.1 unless it is given", bind<&A::listen>},
    {"--port", "N", "Port to listen on; one that is free unless it is given", bind<&A::port>, 0,
     kMostPort},
    {"--rate", "MB", "Megabytes of pictures a second, to all pages together; 4 unless it is given",
     bind<&A::send_rate_mb>, 0.01, 1e4},
    {"--token-file", "FILE", "Keep the token there, for pages that outlive a restart",
     bind<&A::token_file>},
    {"--watch", "", "Read the scene again when one of its files changes", bind<&A::watch>},
    kLayersRow,
};

template<std::size_t a, std::size_t b>
constexpr std::array<OptionRow, a + b> joined(const OptionRow (&first)[a],
                                              const OptionRow (&second)[b]) {
    std::array<OptionRow, a + b> rows = {};
    std::copy_n(first, a, rows.begin());
    std::copy_n(second, b, rows.begin() + a);
    return rows;
}

constexpr auto kRenderRows = joined(kSceneRows, kRunRows);
constexpr auto kServeRows = [] {
    auto rows = joined(kSceneRows, kViewRows);
    rows[0].help = "Directory of the scene, or a folder of pictures to show";
    return rows;
}();

constexpr OptionRow kMergeRows[] = {
    {"FILE", "FILE", "Partial files of one picture", bind<&A::pieces>},
    {"--output-dir", "DIR", "Where pictures go; made if it is missing", bind<&A::output_dir>},
    {"--region", "x0,y0,x1,y1", "Columns and rows asked for, where they are not the scene's",
     bind_wholes<&A::region, ','>},
    {"--allow-gaps", "", "Write what there is where frames or parts of the picture are missing",
     bind<&A::allow_gaps>},
    {"--denoise", "", "Write denoised pictures too, of pieces rendered with --denoise",
     bind<&A::denoise>},
    kLayersRow,
};

constexpr OptionRow kFarmRows[] = {
    {"ENGINE", "slurm", "What starts the pieces", bind<&A::engine>},
    {"SCENE", "DIR", "Directory of the scene", bind<&A::scene>},
    {"--tasks", "N", "Pieces to split the frames into", bind_required<&A::tasks>, 1, kMostTasks},
    {"--output-dir", "DIR", "Where pieces and pictures go", bind<&A::output_dir>},
    {"--resolution", "WxH", "Size of the picture in pixels", bind_wholes<&A::resolution, 'x'>},
    {"--sample", "N", "Frames; each adds one sample to every pixel", bind<&A::sample>, 1,
     kMostFrames},
    {"--mode", "gather|path", "Final gathering from photons, or path tracing", bind<&A::mode>},
    {"--estimator", "classic|exact", "How light is estimated; exact has no known bias",
     bind<&A::estimator>},
    {"--seed", "N", "Of all random numbers; picked where scene and option give none",
     bind<&A::seed>, 0, kMostSeed},
    {"--camera", "N", "Which camera renders, from 0", bind<&A::camera>, 0, kMostInt},
    {"--confine", "", "Read no file that the scene names outside of its folder", bind<&A::confine>},
};

constexpr OptionRow kCheckRows[] = {
    {"SCENE", "DIR", "Directory of the scene", bind<&A::scene>},
    {"--confine", "", "Read no file that the scene names outside of its folder", bind<&A::confine>},
    {"--strict", "", "End with status 1 for warnings too", bind<&A::strict>},
    {"--json", "", "One JSON object with all faults", bind<&A::json>},
};

constexpr OptionRow kInfoRows[] = {
    {"SCENE", "DIR", "Directory of the scene", bind<&A::scene>},
    {"--confine", "", "Read no file that the scene names outside of its folder", bind<&A::confine>},
};

constexpr OptionRow kImportRows[] = {
    {"FILE", "FILE", "glTF, OBJ, PLY, STL, FBX, Collada or another that --list-formats lists",
     bind<&A::import_file>, 0, 0, true},
    {"DIR", "DIR", "Directory of the scene; default: the file's name without its extension",
     bind<&A::import_dir>, 0, 0, true},
    {"--force", "", "Replace a scene that is there", bind<&A::force>},
    {"--textures", "copy|link", "Copy pictures into the scene, or link to them",
     bind<&A::textures>},
    {"--time", "S", "Pose the animation at so many seconds", bind<&A::time_s>, 0, kMostSeconds},
    {"--frames", "A:B", "A scene for each frame from A to B - 1, in a directory below DIR",
     bind_frames},
    {"--fps", "N", "Frames per second; default: 24", bind<&A::frames_per_second>, 1e-3, 1e5},
    {"--json", "", "One JSON object in place of lines", bind<&A::json>},
    {"--list-formats", "", "Print extensions and names of all formats and end",
     bind<&A::list_formats>},
};

constexpr OptionRow kConvertRows[] = {
    {"IN", "FILE", "Image to read", bind<&A::first_image>},
    {"OUT", "FILE", "File to write; its extension is the format", bind<&A::second_image>},
    {"--layer", "NAME", "Layer of the image to read, in place of its picture", bind<&A::layer>},
    {"--exposure", "STOPS", "Stops to brighten by", bind<&A::exposure>, -30, 30},
    {"--exr", "half|float", "Width of the numbers in an .exr file", bind<&A::exr>},
    {"--tonemap", "none|aces|filmic", "Curve that brings highlights into range", bind<&A::tonemap>},
};

constexpr OptionRow kDenoiseRows[] = {
    {"IMAGE", "FILE", "Picture to denoise", bind<&A::first_image>},
    {"--albedo", "FILE", "Colours of what the picture shows", bind<&A::albedo>},
    {"--normal", "FILE", "Normals of what the picture shows", bind<&A::normal>},
    {"--depth", "FILE", "Depths of what the picture shows", bind<&A::depth>},
    {"--noise", "FILE", "Relative noise of the picture, as an AOV of that type",
     bind<&A::noise_image>},
    {"--output", "FILE", "File to write, also over an old one; default: IMAGE_denoised",
     bind<&A::output>},
    {"--exr", "half|float", "Width of the numbers in an .exr file", bind<&A::exr>},
};

constexpr OptionRow kDiffRows[] = {
    {"A", "FILE", "Image to compare", bind<&A::first_image>},
    {"B", "FILE", "Image to compare it with: the reference", bind<&A::second_image>},
    {"--fail-above", "X", "End with status 1 when the RMSE is above X", bind<&A::fail_above>, 0,
     1e30},
    {"--layer", "NAME", "Layer of A to compare, and of B where B has layers", bind<&A::layer>},
    {"--image", "FILE", "Write the absolute difference as an image", bind<&A::difference_image>},
    {"--json", "", "One JSON object in place of lines", bind<&A::json>},
};

constexpr OptionRow kFormatRows[] = {
    {"SCENE", "DIR", "Directory of the scene", bind<&A::scene>},
    {"--check", "", "List files that would change, with status 1, and change none",
     bind<&A::only_check>},
};

constexpr OptionRow kNewRows[] = {
    {"DIR", "DIR", "Directory to make", bind<&A::scene>},
    {"MESH", "FILE", "OBJ file to show, of any size; without it a box is shown", bind<&A::mesh>, 0,
     0, true},
};

constexpr OptionRow kCompletionRows[] = {
    {"--shell", "bash|zsh|fish", "Which shell; bash unless it is given", bind<&A::shell>},
};

constexpr CommandRow kCommands[] = {
    {"render", "Render a scene; the same as leaving the word out", Command::render, kRenderRows},
    {"serve", "Render a scene, or show pictures, in browsers", Command::serve, kServeRows},
    {"merge", "Put a picture together from partial files", Command::merge, kMergeRows},
    {"farm", "Print a script that has a batch system render a scene", Command::farm, kFarmRows},
    {"check", "Find every fault of a scene", Command::check, kCheckRows},
    {"info", "Describe a scene without rendering it", Command::info, kInfoRows},
    {"import", "Make a scene of a file of another program", Command::import, kImportRows},
    {"convert", "Write an image in another format", Command::convert, kConvertRows},
    {"denoise", "Take the noise out of a picture", Command::denoise, kDenoiseRows},
    {"diff", "Measure how two images differ", Command::diff, kDiffRows},
    {"fmt", "Lay out the files of a scene", Command::fmt, kFormatRows},
    {"new", "Make a small scene to begin with", Command::make, kNewRows},
    {"man", "Print the manual page, as text for scdoc", Command::man, {}},
    {"completion", "Print the completion of a shell", Command::completion, kCompletionRows},
};

const CommandRow& command_of(const CLI::App& app) {
    for (const CommandRow& row : kCommands)
        if (app.got_subcommand(row.name)) return row;
    return kCommands[0]; // a render may leave its word out
}

std::string meant(const std::string& nearest) {
    return nearest.empty() ? "" : "; did you mean " + in_quotes(nearest) + "?";
}

// The argument that nothing takes, and what it may stand for.
std::string unexpected(const CLI::App& app, const std::string& scene) {
    const CommandRow& command = command_of(app);
    const std::vector<std::string> left = app.remaining(true);
    const std::string argument = left.empty() ? "" : left[0].substr(0, left[0].find('='));
    std::vector<std::string_view> legal;
    if (argument.starts_with('-')) {
        for (const OptionRow& row : command.options)
            legal.emplace_back(row.name);
        return "no use for " + in_quotes(argument) + meant(NearestWord(argument, legal));
    }
    for (const CommandRow& row : kCommands)
        legal.emplace_back(row.name);
    // The first of two words is a scene, or a command that is misspelt.
    const std::string nearest =
        app.get_subcommands().empty() ? NearestWord(scene, legal) : std::string();
    return nearest.empty() ? "no use for " + in_quotes(argument)
                           : in_quotes(scene) + " is not a command" + meant(nearest);
}

void add_rows(CLI::App& app, std::span<const OptionRow> rows, Arguments& arguments) {
    for (const OptionRow& row : rows)
        row.add(app, row, arguments);
}

// Takes "oidn" behind "--denoise" out of the arguments: to the parser the option is a flag.
std::vector<char*> without_filter(int argc, char** argv, Arguments& arguments) {
    std::vector<char*> left;
    for (char* argument : std::span(argv, to_size(argc))) {
        const bool chooses = !left.empty() && left.back() == std::string_view("--denoise")
                             && argument == std::string_view("oidn");
        if (chooses)
            arguments.open_image_denoise = true;
        else
            left.push_back(argument);
    }
    return left;
}

// "help", "help COMMAND" and "version" stand for the options of these names.
void replace_words(std::vector<char*>& arguments) {
    static char help[] = "--help", version[] = "--version";
    const std::size_t count = arguments.size();
    const std::string_view word = count == 2 || count == 3 ? arguments[1] : "";
    if (word == "version" && count == 2) arguments[1] = version;
    if (word != "help") return;
    arguments.erase(arguments.begin() + 1);
    arguments.push_back(help);
}

} // namespace

std::span<const CommandRow> Commands() {
    return kCommands;
}

std::vector<std::string> choices(const OptionRow& row) {
    std::vector<std::string> words;
    std::istringstream stream(row.value);
    for (std::string word; std::getline(stream, word, '|');)
        words.push_back(word);
    return words.size() > 1 ? words : std::vector<std::string>();
}

std::optional<int> ParseArguments(int argc, char** argv, Arguments& arguments) {
    CLI::App app(kSummary, "moonhare");
    app.set_version_flag("--version", VersionText());
    app.footer("moonhare COMMAND --help describes a command.");
    for (const CommandRow& row : kCommands) {
        CLI::App& command = *app.add_subcommand(row.name, row.help);
        add_rows(command, row.options, arguments);
        command.callback([&arguments, &row] { arguments.command = row.command; });
    }
    add_rows(app, kRenderRows, arguments);
    app.get_option("SCENE")->required(false);
    app.require_subcommand(0, 1);
    app.failure_message([](const CLI::App*, const CLI::Error& fault) {
        return std::string("moonhare: ") + fault.what() + '\n';
    });
    try {
        std::vector<char*> left = without_filter(argc, argv, arguments);
        replace_words(left);
        app.parse(static_cast<int>(left.size()), left.data());
    } catch (const CLI::ExtrasError&) {
        std::cerr << "moonhare: " << unexpected(app, arguments.scene) << "\n";
        return kWrongUse;
    } catch (const CLI::ParseError& fault) {
        return app.exit(fault) == 0 ? kDone : kWrongUse;
    }
    if (arguments.open_image_denoise && !HasOpenImageDenoise()) {
        std::cerr << "moonhare: built without Open Image Denoise; --denoise alone uses our own "
                     "filter\n";
        return kWrongUse;
    }
    if (arguments.command == Command::none && !arguments.scene.empty())
        arguments.command = Command::render;
    if (arguments.command != Command::none) return std::nullopt;
    std::cerr << "moonhare: a SCENE is required; see --help\n";
    return kWrongUse;
}

} // namespace mh
