// Reads scene files: lines are matched against the tables of keys, and what matches nothing is
// passed over.
// SPDX-License-Identifier: MIT
#include "scene/scene_reader.h"

#include "geometry/objects.h"
#include "geometry/state.h"
#include "lights/gaffer.h"
#include "lights/sky_light.h"
#include "lights/state.h"
#include "math/at.h"
#include "math/input_file.h"
#include "math/memory.h"
#include "output/camera.h"
#include "output/state.h"
#include "run/report.h"
#include "run/state.h"
#include "scene/blocks.h"
#include "scene/scene_text.h"
#include "shading/shaders.h"
#include "shading/state.h"

#include <algorithm>
#include <filesystem>
#include <limits>
#include <utility>
#include <vector>

namespace mh {

namespace {

constexpr std::int64_t kWideLowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kWideHighest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kNaturalHighest = std::numeric_limits<std::uint32_t>::max();

bool take_value(const Key& key, std::string_view& rest, Values& values) {
    const auto at = to_size(values.count);
    switch (key.kind) {
    case ValueKind::whole:
        return take_whole(rest, std::numeric_limits<std::int32_t>::min(),
                          std::numeric_limits<std::int32_t>::max(), values.wholes[at]);
    case ValueKind::wide_whole:
        return take_whole(rest, kWideLowest, kWideHighest, values.wholes[at]);
    case ValueKind::natural:
        return take_whole(rest, -kNaturalHighest, kNaturalHighest, values.wholes[at]);
    case ValueKind::real: return take_real(rest, values.reals[at]);
    case ValueKind::text: values.text = take_quoted(rest); return true;
    case ValueKind::word: {
        std::string_view word;
        if (!take_word(rest, word)) return false;
        values.text = word;
        return true;
    }
    case ValueKind::block: return false;
    }
    std::abort();
}

// A file that is being read.
struct Reading {
    SceneText text;
    const std::string& path;
    const ReadListener& listener;
    std::string_view line = {}, word = {}; // the line last handed out, and its first word
    int unchecked = 0;                     // lines since memory was looked at; files count more
    double held_before = -1.0;             // by the process when memory was first looked at
};

constexpr int kLinesOfCheck = 4096; // of up to 5 KB in memory each
constexpr int kLinesOfFile = 64;    // what a line counts that has a file read

// Of records that move to a table of twice the size when it is full.
template<typename... Record>
double bytes_of(const std::vector<Record>&... tables) {
    return (0.0 + ... + static_cast<double>(tables.capacity() * sizeof(Record)));
}

// As much again as this file has taken, and the tables anew; what a host holds does not count.
bool may_grow(const Reading& reading) {
    return FitsMemory(HeldMemory() - reading.held_before
                      + bytes_of(Objects, Shaders, Textures, Cameras, PointLights, ParallelLights));
}

// Where memory runs out, the file ends.
bool fits_memory(Reading& reading) {
    if (++reading.unchecked < kLinesOfCheck) return true;
    reading.unchecked = 0;
    if (reading.held_before < 0.0) reading.held_before = HeldMemory();
    if (may_grow(reading)) return true;
    reading.text.position = reading.text.content.size();
    ReportError("scene - " + reading.path
                + " needs more memory than there is; it is read up to line "
                + std::to_string(reading.text.line_number));
    return false;
}

ReadNote note_of(const Reading& reading, ReadEvent event, const Block* block) {
    return {event, reading.path, reading.text.line_number, reading.line, reading.word, block};
}

ReadAnswer notify(const Reading& reading, const ReadNote& note) {
    return reading.listener ? reading.listener(note) : ReadAnswer();
}

void notify(const Reading& reading, ReadEvent event, const Block& block, void* record) {
    ReadNote note = note_of(reading, event, &block);
    note.record = record;
    notify(reading, note);
}

// Once a file: the blocks that are open see its end one after the other.
void notify_long_line(Reading& reading) {
    if (!std::exchange(reading.text.line_too_long, false)) return;
    ReportError("scene - line " + std::to_string(reading.text.line_number + 1) + " of "
                + reading.path + " has more than " + std::to_string(kMaxLineLength)
                + " characters; the file is read up to there");
    notify(reading, note_of(reading, ReadEvent::line_too_long, nullptr));
}

// The next line that holds a word and is not a comment; `rest` is what follows the word.
bool next_words(Reading& reading, std::string_view& rest) {
    while (next_line(reading.text, reading.line) && fits_memory(reading)) {
        rest = reading.line;
        if (!rest.starts_with('#') && take_word(rest, reading.word)) return true;
    }
    notify_long_line(reading);
    return false;
}

// The line is handed out once more.
void put_back(Reading& reading) {
    reading.text.position = to_size(reading.line.data() - reading.text.content.data());
    --reading.text.line_number;
}

// A blank rest, or one that holds a comment.
bool is_comment(std::string_view rest) {
    const std::size_t text = rest.find_first_not_of(" \t\r");
    return text == rest.npos || rest[text] == '#';
}

// Whether the values of a strict key are what it takes; a warning when they are not.
bool accepted(const Reading& reading, const Key& key, const Values& values,
              std::string_view unread) {
    if (key.accepts == nullptr) return true;
    if (values.count >= key.fewest && key.accepts(values) && is_comment(unread)) return true;
    ReportWarning("scene - " + reading.path + ", line " + std::to_string(reading.text.line_number)
                  + ": " + key.name + " takes " + key.wanted + "; the line is ignored");
    return false;
}

// As many values as the line has; the first that cannot be read ends the line.
void read_values(Reading& reading, const Block& block, const Key& key, std::string_view given,
                 void* record) {
    Values values;
    std::string_view rest = given;
    while (values.count < key.count && take_value(key, rest, values))
        ++values.count;
    if (key.role == Role::geometry_file || key.role == Role::image_file)
        reading.unchecked += kLinesOfFile;
    const bool good = accepted(reading, key, values, rest);
    if (good && values.count > 0 && record != nullptr) key.store(record, values);
    if (!reading.listener) return;
    ReadNote note = note_of(reading, ReadEvent::values, &block);
    note.key = &key;
    note.record = record;
    note.values = &values;
    note.given = given;
    note.unread = rest;
    notify(reading, note);
}

const Key* find_key(const Block& block, std::string_view name) {
    const auto key = std::find_if(block.keys.begin(), block.keys.end(),
                                  [&](const Key& candidate) { return candidate.name == name; });
    return key == block.keys.end() ? nullptr : &*key;
}

ReadAnswer ask_about_word(const Reading& reading, const Block* block, const Key* key,
                          std::string_view rest, void* record) {
    ReadNote note = note_of(reading, ReadEvent::word, block);
    note.record = record;
    note.key = key;
    note.given = rest;
    return notify(reading, note);
}

void read_block(Reading& reading, const Block& block, void* record);

void read_sub_block(Reading& reading, const Block& block, const Key& key, void* record) {
    void* opened = record == nullptr ? nullptr : key.open(record);
    if (opened != nullptr) return read_block(reading, *key.block, opened);
    if (!reading.listener) return;
    if (record != nullptr) notify(reading, ReadEvent::block_refused, block, record);
    read_block(reading, *key.block, nullptr); // what follows is reported line by line
}

// Up to the block's "end" or the end of the text. Blocks nest no deeper than their tables do.
// Without a record values go nowhere.
void read_block(Reading& reading, const Block& block, void* record) {
    notify(reading, ReadEvent::block_opened, block, record);
    std::string_view rest;
    while (next_words(reading, rest)) {
        std::string_view word = reading.word;
        const Key* key = find_key(block, word);
        const ReadAnswer answer = ask_about_word(reading, &block, key, rest, record);
        if (answer.leave_block) return put_back(reading);
        if (!answer.take_as.empty()) key = find_key(block, word = answer.take_as);
        if (word == "end") return notify(reading, ReadEvent::block_closed, block, record);
        if (key == nullptr) continue;
        if (key->kind == ValueKind::block)
            read_sub_block(reading, block, *key, record);
        else
            read_values(reading, block, *key, rest, record);
    }
    notify(reading, ReadEvent::block_cut, block, record);
}

void read_settings(Reading& reading, const Block& block) {
    read_block(reading, block, &RendererSettings);
}

void read_geometry_light(Reading& reading, const Block& block) {
    read_block(reading, block, &GeometryLight);
}

void read_point_light(Reading& reading, const Block& block) {
    const int light = AddPointLight();
    read_block(reading, block, &at(PointLights, light));
}

void read_parallel_light(Reading& reading, const Block& block) {
    const int light = AddParallelLight();
    read_block(reading, block, &at(ParallelLights, light));
}

void read_sky_light(Reading& reading, const Block& block) {
    ResetSkyLightBlock(SkyLight);
    read_block(reading, block, &SkyLight);
}

void read_camera(Reading& reading, const Block& block) {
    Camera camera;
    ResetCamera(camera);
    camera.pose_count = 0;
    read_block(reading, block, &camera);
    if (camera.pose_count == 1) camera.poses[1] = camera.poses[0];
    Cameras.push_back(std::move(camera));
}

void read_object(Reading& reading, const Block& block) {
    const int object = AddObject();
    ObjectReading record;
    record.object = &at(Objects, object);
    read_block(reading, block, &record);
}

// The whole record is replaced when the name is known already.
void read_shader(Reading& reading, const Block& block) {
    Shader shader;
    read_block(reading, block, &shader);
    const int index = FindOrAddShader(shader.name);
    at(Shaders, index) = std::move(shader);
}

struct TopBlock {
    const Block& block;
    void (*read)(Reading& reading, const Block& block);
};

constexpr TopBlock kTopBlocks[] = {
    {kRenderBlock, read_settings},
    {kSkyLightBlock, read_sky_light},
    {kGeometryLightBlock, read_geometry_light},
    {kCameraBlock, read_camera},
    {kPointLightBlock, read_point_light},
    {kParallelLightBlock, read_parallel_light},
    {kObjectBlock, read_object},
    {kShaderBlock, read_shader},
};

const TopBlock* find_top_block(std::string_view word) {
    for (const TopBlock& top : kTopBlocks)
        if (word == top.block.name) return &top;
    return nullptr;
}

// The text itself, which is held as a whole.
bool text_fits(const InputFile& file, const std::string& path) {
    if (FitsMemory(file)) return true;
    ReportError("scene - " + path + " of " + std::to_string(file.size_bytes)
                + " bytes needs more memory than there is; it is not read");
    return false;
}

} // namespace

std::vector<const Block*> TopBlocks() {
    std::vector<const Block*> blocks;
    for (const TopBlock& top : kTopBlocks)
        blocks.push_back(&top.block);
    return blocks;
}

const Block* FindTopBlock(std::string_view word) {
    const TopBlock* const top = find_top_block(word);
    return top == nullptr ? nullptr : &top->block;
}

bool ReadSceneFile(const std::string& path, const ReadListener& listener) {
    InputFile file = OpenText(path);
    if (!file) return false;
    if (!text_fits(file, path)) return true;
    Reading reading = {{ReadRest(file)}, path, listener};
    notify(reading, note_of(reading, ReadEvent::file, nullptr));
    std::string_view rest;
    while (next_words(reading, rest)) {
        const ReadAnswer answer = ask_about_word(reading, nullptr, nullptr, rest, nullptr);
        const std::string_view word = answer.take_as.empty() ? reading.word : answer.take_as;
        if (const TopBlock* top = find_top_block(word)) top->read(reading, top->block);
    }
    return true;
}

void ScanSceneFolder(const std::string& folder, const ReadListener& listener) {
    std::vector<std::string> names;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        std::string name = entry->path().filename().string();
        if (name.ends_with(".mh")) names.push_back(std::move(name));
    }
    std::sort(names.begin(), names.end());
    for (const std::string& name : names)
        ReadSceneFile(folder + "/" + name, listener);
}

} // namespace mh
