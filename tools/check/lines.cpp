// Faults of the lines of scene files.
// SPDX-License-Identifier: MIT
#include "check/lines.h"

#include "check/blocks.h"
#include "check/values.h"
#include "geometry/objects.h"
#include "geometry/state.h"
#include "scene/blocks.h"
#include "scene/scene_text.h"
#include "shading/state.h"
#include "spelling.h"

#include <algorithm>
#include <filesystem>

namespace mh {

namespace {

// What other checks tell with more.
constexpr const char* kToldApart[] = {"please triangulate", " gives no faces"};

bool is_told_apart(const std::string& message) {
    return std::any_of(std::begin(kToldApart), std::end(kToldApart),
                       [&](const char* part) { return message.find(part) != message.npos; });
}

struct Listening {
    SceneLines* lines;
    CapturedReport* report;
};

// As it is written in the file.
std::string_view name_of(const OpenBlock& open) {
    return open.opener == nullptr ? open.block->name : open.opener->name;
}

std::vector<std::string_view> legal_words(const Block* block) {
    std::vector<std::string_view> words;
    if (block == nullptr) {
        for (const Block* top : TopBlocks())
            words.emplace_back(top->name);
        return words;
    }
    words.emplace_back("end");
    for (const Key& key : block->keys)
        words.emplace_back(key.name);
    return words;
}

void close_without_end(SceneLines& lines) {
    const OpenBlock& open = lines.open.back();
    add_fault(lines, open.place, "block " + in_quotes(name_of(open)) + " has no \"end\"");
    lines.open.pop_back();
}

// A word that opens a block and stands alone on its line, where the block has no such block: the
// "end" before it is missing.
bool starts_next_block(const ReadNote& note) {
    if (note.block == nullptr || FindTopBlock(note.word) == nullptr) return false;
    if (note.key == nullptr) return true;
    return note.key->kind != ValueKind::block && next_word(note.given).empty();
}

void note_key(SceneLines& lines, const ReadNote& note, const Key& key) {
    if (!lines.open.empty())
        lines.open.back().given.push_back({&key, note.line_number, note.line, note.word});
    if (key.kind == ValueKind::block && key.stored_only)
        add_warning(lines, place_of_word(note), in_quotes(key.name) + kStoredOnly);
}

ReadAnswer take_as(SceneLines& lines, const ReadNote& note, std::string_view word) {
    if (note.block != nullptr)
        for (const Key& key : note.block->keys)
            if (key.name == word) note_key(lines, note, key);
    return {word, false};
}

ReadAnswer hear_unknown_word(SceneLines& lines, const ReadNote& note) {
    const std::string nearest = NearestWord(note.word, legal_words(note.block));
    const std::string where = note.block == nullptr
                                  ? "unknown block "
                                  : "unknown key in " + in_quotes(note.block->name) + ": ";
    add_fault(lines, place_of_word(note), where + in_quotes(note.word), nearest);
    for (const std::string_view word : legal_words(note.block))
        if (word == nearest) return take_as(lines, note, word);
    return {};
}

const char* kind_of_value(ValueKind kind) {
    switch (kind) {
    case ValueKind::whole:
    case ValueKind::wide_whole:
    case ValueKind::natural: return "whole number";
    case ValueKind::real: return "number";
    case ValueKind::text: return "text in double quotes";
    case ValueKind::word: return "name";
    case ValueKind::block: break;
    }
    return "value";
}

std::string needs(const Key& key) {
    const std::string fewest = key.fewest < key.count ? std::to_string(key.fewest) + " to " : "";
    return in_quotes(key.name) + " needs " + fewest + std::to_string(key.count) + ' '
           + kind_of_value(key.kind) + (key.count == 1 ? "" : "s");
}

void check_missing_value(SceneLines& lines, const ReadNote& note) {
    const std::string_view token = next_word(note.unread);
    const char* at = token.empty() ? note.line.data() + note.line.size() : token.data();
    std::string message = needs(*note.key);
    if (token.empty())
        message += ", " + std::to_string(note.values->count) + " given";
    else
        message += ": " + in_quotes(token) + " is not a " + kind_of_value(note.key->kind)
                   + ", or is out of range";
    add_fault(lines, place_at(note, at), message);
}

void check_rest(SceneLines& lines, const ReadNote& note) {
    const std::string_view token = next_word(note.unread);
    if (token.empty()) return;
    const bool runs_on = !note.unread.empty() && token.data() == note.unread.data();
    add_fault(lines, place_at(note, token.data()),
              needs(*note.key)
                  + (runs_on ? ": " + in_quotes(token) + " follows without a space"
                             : "; the rest is not read"));
}

bool check_quotes(SceneLines& lines, const ReadNote& note) {
    const std::size_t open = note.given.find('"');
    if (open == note.given.npos) {
        const std::string_view token = next_word(note.given);
        add_fault(lines, place_at(note, token.data()), needs(*note.key));
        return false;
    }
    if (note.given.find('"', open + 1) != note.given.npos) return true;
    add_fault(lines, place_at(note, note.given.data() + open), "the text has no closing quote");
    return false;
}

bool check_values(SceneLines& lines, const ReadNote& note) {
    if (note.key->kind == ValueKind::text && !check_quotes(lines, note)) return false;
    if (note.values->count < note.key->fewest) {
        check_missing_value(lines, note);
        return false;
    }
    check_rest(lines, note);
    return true;
}

void check_choice(SceneLines& lines, const ReadNote& note) {
    const auto& choices = note.key->choices;
    const std::string& text = note.values->text;
    if (choices.empty() || note.key->role == Role::channel) return;
    const std::vector<std::string_view> words(choices.begin(), choices.end());
    if (std::find(words.begin(), words.end(), text) != words.end()) return;
    const std::string_view token = next_word(note.given);
    add_fault(lines, place_at(note, token.data()),
              in_quotes(note.key->name) + " does not accept " + in_quotes(text),
              NearestWord(text, words));
}

// What the reader said of the file, or that it is not there.
void check_geometry_file(SceneLines& lines, const Mention& mention,
                         const std::vector<ReportMessage>& messages) {
    const std::string path = FindGeometryFile(mention.name);
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) {
        add_fault(lines, mention.place,
                  "file " + in_quotes(mention.name) + " is not found; looked for in "
                      + FoldersText(GeometrySearchPaths));
        return;
    }
    for (const ReportMessage& message : messages)
        if (!is_told_apart(message.text)) AddMessage(lines, mention.place, message);
}

// Where the key had a part made.
void note_part(SceneLines& lines, const Mention& mention, const ReadNote& note) {
    OpenBlock& open = lines.open.back();
    const auto& reading = *static_cast<const ObjectReading*>(note.record);
    const Object& object = *reading.object;
    if (object.parts.size() == open.parts) return;
    open.parts = object.parts.size();
    lines.parts.push_back({Objects.size() - 1, open.parts - 1, mention.name, mention.key,
                           mention.place, Shaders.size(), reading.splits_polygons,
                           reading.root_radius > 0.0f});
}

void hear_values(Listening& to, const ReadNote& note) {
    SceneLines& lines = *to.lines;
    const std::vector<ReportMessage> messages = to.report->take_messages();
    if (!check_values(lines, note)) return;
    CheckValues(lines, note, lines.open.back().opener);
    check_choice(lines, note);
    const Key& key = *note.key;
    if (note.block->name == std::string_view("final_gather")) lines.gather_keys.insert(key.name);
    if (key.role == Role::plain) return;
    const std::string_view token = next_word(note.given);
    const Mention mention = {key.role, note.values->text, place_at(note, token.data()),
                             note.block->name, key.name};
    lines.mentions.push_back(mention);
    if (key.role == Role::geometry_file) check_geometry_file(lines, mention, messages);
    if (note.block == &kObjectBlock && note.record != nullptr) note_part(lines, mention, note);
    if (key.role != Role::image_file) return;
    for (const ReportMessage& message :
         messages) // of the file itself: the check of images reports them
        if (!message.text.starts_with("image - ")) AddMessage(lines, mention.place, message);
}

ReadAnswer hear_word(SceneLines& lines, const ReadNote& note) {
    if (note.word.starts_with('#')) return {}; // an indented comment
    if (starts_next_block(note)) {
        CheckBlock(lines, note);
        close_without_end(lines);
        return {{}, true};
    }
    const bool known = note.block == nullptr ? FindTopBlock(note.word) != nullptr
                                             : note.key != nullptr || note.word == "end";
    if (!known && note.block == nullptr && note.word == "end") {
        add_fault(lines, place_of_word(note), "\"end\" without a block");
        return {};
    }
    if (!known) return hear_unknown_word(lines, note);
    if (note.key != nullptr) note_key(lines, note, *note.key);
    const bool is_block = note.key == nullptr || note.key->kind == ValueKind::block;
    const std::string_view more = next_word(note.given);
    if (is_block && !more.empty())
        add_fault(lines, place_at(note, more.data()),
                  in_quotes(note.word) + " takes no value; this is not read");
    return {};
}

void hear_open(SceneLines& lines, const ReadNote& note) {
    const Key* opener = lines.open.empty() ? nullptr : lines.open.back().given.back().key;
    lines.open.push_back({note.block, opener, place_of_word(note), {}, lines.doubts.size()});
    if (note.block == &kObjectBlock) lines.object_places.push_back(lines.open.back().place);
}

void hear_close(SceneLines& lines, const ReadNote& note) {
    CheckBlock(lines, note);
    lines.open.pop_back();
}

void hear_long_line(SceneLines& lines, const ReadNote& note) {
    add_fault(lines,
              {std::filesystem::path(note.path).lexically_normal().string(), note.line_number + 1,
               1, std::string(note.line.substr(0, 60)) + "..."},
              "line of more than " + std::to_string(kMaxLineLength)
                  + " characters: the rest of the file is not read");
}

ReadAnswer hear(Listening& to, const ReadNote& note) {
    SceneLines& lines = *to.lines;
    switch (note.event) {
    case ReadEvent::file: lines.reads_files = true; break;
    case ReadEvent::word: return hear_word(lines, note);
    case ReadEvent::block_opened:
        to.report->take_messages(); // what was printed until here is not about its values
        hear_open(lines, note);
        break;
    case ReadEvent::block_refused:
        add_fault(lines, place_of_word(note),
                  "a third " + in_quotes(note.word) + ": a camera has a start and an end");
        break;
    case ReadEvent::block_closed: hear_close(lines, note); break;
    case ReadEvent::block_cut:
        CheckBlock(lines, note);
        close_without_end(lines);
        break;
    case ReadEvent::values: hear_values(to, note); break;
    case ReadEvent::line_too_long: hear_long_line(lines, note); break;
    }
    return {};
}

} // namespace

ReadListener ListenTo(SceneLines& lines, CapturedReport& report) {
    return
        [to = Listening{&lines, &report}](const ReadNote& note) mutable { return hear(to, note); };
}

} // namespace mh
