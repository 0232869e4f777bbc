// Scene files that cannot be read, scene text under names that are not, and search folders that
// are not there.
// SPDX-License-Identifier: MIT
#include "check/folders.h"

#include "math/input_file.h"
#include "scene/scene_text.h"
#include "spelling.h"

#include <algorithm>
#include <array>
#include <filesystem>

namespace mh {

namespace {

namespace fs = std::filesystem;

constexpr std::array<std::string_view, 6> kFolders = {"shader", "render",   "light",
                                                      "camera", "geometry", "image"};

bool is_scene_text(const fs::path& path) {
    constexpr std::size_t kStart = 4096; // bytes
    std::string start(kStart, '\0');
    if (const InputFile file = OpenInput(path.string()))
        start.resize(std::fread(start.data(), 1, start.size(), file.handle.get()));
    SceneText text = {std::move(start)};
    std::string_view line, word;
    while (next_line(text, line))
        if (!line.starts_with('#') && take_word(line, word)) break;
    return FindTopBlock(word) != nullptr;
}

std::vector<fs::directory_entry> entries_of(const fs::path& folder) {
    std::vector<fs::directory_entry> entries;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error))
        entries.push_back(*entry);
    return entries;
}

bool has_text_ending(const fs::path& path) {
    const std::string ending = path.extension().string();
    return ending.empty() || ending == ".txt" || ending == ".MH" || ending == ".Mh";
}

void check_files(SceneCheck& check, const fs::path& folder) {
    std::error_code error;
    for (const fs::directory_entry& entry : entries_of(folder)) {
        const Place place = {entry.path().lexically_normal().string(), 0, 0, {}};
        if (entry.path().extension() == ".mh") {
            if (!OpenInput(entry.path().string()))
                add_fault(check.lines, place, "cannot be read: it is left out");
        } else if (has_text_ending(entry.path()) && entry.is_regular_file(error)
                   && is_scene_text(entry.path())) {
            add_warning(check.lines, place, "is not read: the names of scene files end in .mh");
        }
    }
}

bool holds_scene_text(const fs::path& folder) {
    const std::vector<fs::directory_entry> entries = entries_of(folder);
    return std::any_of(entries.begin(), entries.end(), [](const fs::directory_entry& entry) {
        return entry.path().extension() == ".mh";
    });
}

void check_other_folder(SceneCheck& check, const fs::path& folder) {
    const std::string name = folder.filename().string();
    if (std::find(kFolders.begin(), kFolders.end(), name) != kFolders.end()) return;
    if (!holds_scene_text(folder)) return;
    check.lines.faults.push_back(
        {{folder.lexically_normal().string(), 0, 0, {}},
         "no folder of a scene is named " + in_quotes(name) + ": its files are not read",
         NearestWord(name, kFolders),
         Severity::warning});
}

void check_search_paths(SceneCheck& check) {
    std::error_code error;
    for (const Mention& mention : check.lines.mentions)
        if (mention.role == Role::image_folder && !fs::is_directory(mention.name, error))
            add_warning(check.lines, mention.place,
                        "there is no folder " + in_quotes(mention.name) + " to look for images in");
}

} // namespace

void CheckFolders(SceneCheck& check) {
    std::error_code error;
    for (const fs::directory_entry& entry : entries_of(check.directory))
        if (entry.is_directory(error)) check_other_folder(check, entry.path());
    for (const std::string_view folder : kFolders)
        check_files(check, check.directory + std::string(folder));
    check_search_paths(check);
}

} // namespace mh
