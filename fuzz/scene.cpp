// Whole scene directories, rendered as tiny pictures. An input holds the files of the directory one
// after the other, each behind a line "@@" and its name: see kFiles.
// SPDX-License-Identifier: MIT
#include "frame/phases.h"
#include "harness.h"
#include "support/small_scene.h"

#include <algorithm>
#include <filesystem>
#include <utility>

namespace mh::fuzz {

namespace {

// Names in the input and in the scene.
constexpr std::pair<std::string_view, const char*> kFiles[] = {
    {"mh", "geometry/all.mh"}, {"obj", "geometry/a.obj"}, {"hair", "geometry/a.hair"},
    {"fur", "geometry/a.fur"}, {"png", "image/a.png"},    {"hdr", "image/a.hdr"},
};

void write_file(std::string_view name, std::string_view content) {
    for (const auto& [in_input, path] : kFiles)
        if (name == in_input)
            WriteFile(path, name == "mh" ? WithoutSeparators(content) : std::string(content));
}

std::string_view take_until(std::string_view& rest, std::string_view end) {
    const std::string_view taken = rest.substr(0, rest.find(end));
    rest.remove_prefix(std::min(taken.size() + end.size(), rest.size()));
    return taken;
}

void write_files(std::string_view input) {
    std::filesystem::create_directory("geometry");
    std::filesystem::create_directory("image");
    take_until(input, "@@");
    while (!input.empty()) {
        const std::string_view name = take_until(input, "\n");
        write_file(name, take_until(input, "@@"));
    }
}

} // namespace

void Try(std::string_view input) {
    write_files(input);
    OpenScene("./");
    test::KeepSmall();
    Initialize();
    Render();
    CloseScene();
}

} // namespace mh::fuzz
