// What following the reader through a scene's files gives: faults, names that are mentioned, and
// where things stand.
// SPDX-License-Identifier: MIT
#pragma once

#include "captured_report.h"
#include "fault.h"
#include "math/box.h"
#include "scene/scene_reader.h"

#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace mh {

struct BlockRule;

// A name in a scene file, by what it stands for.
struct Mention {
    Role role = Role::plain;
    std::string name;
    Place place;
    std::string block, key;
};

// A key line within a block; views into the file, which is held while its blocks are open.
struct GivenKey {
    const Key* key = nullptr;
    int line_number = 0;
    std::string_view line, word;
};

// A block while it is open.
struct OpenBlock {
    const Block* block = nullptr;
    const Key* opener = nullptr; // of the block around it; null at the top level
    Place place;
    std::vector<GivenKey> given = {};
    std::size_t first_doubt = 0; // of those that stand in it
    std::size_t parts = 0;       // of an object, so far
};

// What is worth a line if the scene as a whole says so.
struct Doubt {
    const BlockRule* rule = nullptr;
    Place place;
    std::string subject = {}; // the shader that it stands in, or the image of its slot
};

// A part of an object, and the line that had it read.
struct PartSource {
    std::size_t object = 0, part = 0;
    std::string file, key;
    Place place;
    std::size_t shaders = 0; // known when it was read
    bool splits_polygons = false;
    bool has_radius = false; // from a key
};

struct SceneLines {
    std::vector<Fault> faults;
    std::vector<Mention> mentions;
    std::vector<Doubt> doubts;
    std::vector<OpenBlock> open;      // outermost first
    std::vector<Place> object_places; // in the order of Objects
    std::vector<PartSource> parts;
    bool reads_files = false;          // a .mh file was found
    std::set<std::string> gather_keys; // of final_gather, that have values
    Aabb box;                          // of the scene; empty without geometry
};

Place place_at(const ReadNote& note, const char* at);
Place place_of_word(const ReadNote& note);

// The first word of a rest of a line; empty, at its end, when there is none or a comment begins.
std::string_view next_word(std::string_view rest);

void add_fault(SceneLines& lines, Place place, std::string message, std::string suggestion = {});
void add_warning(SceneLines& lines, Place place, std::string message);

// What the library reported of the place.
void AddMessage(SceneLines& lines, const Place& place, const ReportMessage& message);

constexpr const char* kStoredOnly = " is stored, but not used";

// The last line of the block with that key; null without one.
const GivenKey* find_given(const OpenBlock& block, std::string_view key);

// The folders of a search list in words.
std::string FoldersText(const std::vector<std::string>& folders);

} // namespace mh
