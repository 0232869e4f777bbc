// Places and records of the lines of scene files.
// SPDX-License-Identifier: MIT
#include "check/scene_lines.h"

#include "scene/scene_text.h"

#include <algorithm>
#include <filesystem>

namespace mh {

Place place_at(const ReadNote& note, const char* at) {
    return {std::filesystem::path(note.path).lexically_normal().string(), note.line_number,
            static_cast<int>(at - note.line.data()) + 1, std::string(note.line)};
}

Place place_of_word(const ReadNote& note) {
    return place_at(note, note.word.data());
}

std::string_view next_word(std::string_view rest) {
    std::string_view word;
    if (!take_word(rest, word) || word.starts_with('#')) return rest.substr(rest.size());
    return word;
}

void add_fault(SceneLines& lines, Place place, std::string message, std::string suggestion) {
    lines.faults.push_back({std::move(place), std::move(message), std::move(suggestion)});
}

void add_warning(SceneLines& lines, Place place, std::string message) {
    lines.faults.push_back({std::move(place), std::move(message), {}, Severity::warning});
}

void AddMessage(SceneLines& lines, const Place& place, const ReportMessage& message) {
    const Severity severity = message.warning ? Severity::warning : Severity::fault;
    lines.faults.push_back({place, message.text, {}, severity});
}

const GivenKey* find_given(const OpenBlock& block, std::string_view key) {
    const auto found = std::find_if(block.given.rbegin(), block.given.rend(),
                                    [&](const GivenKey& g) { return g.key->name == key; });
    return found == block.given.rend() ? nullptr : &*found;
}

std::string FoldersText(const std::vector<std::string>& folders) {
    std::string text;
    for (const std::string& folder : folders)
        text += (text.empty() ? "" : ", ") + (folder.empty() ? "the current folder" : folder);
    return text;
}

} // namespace mh
