// Scene directories: finds the .mh files of a folder and reads their blocks. Silent about whatever
// it does not understand.
// SPDX-License-Identifier: MIT
#pragma once

#include "scene/keys.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace mh {

enum class ReadEvent : std::uint8_t {
    file,          // a file is read from here on
    word,          // the first word of a line is known; the answer counts
    block_opened,  // by the line before
    block_refused, // the same, but what it holds has no effect
    block_closed,  // by its "end"
    block_cut,     // by the end of the file
    values,        // of a key, after they went to their place
    line_too_long, // which ends the file
};

// What the reader has come to. `line` and its parts are views into the file.
struct ReadNote {
    ReadEvent event;
    const std::string& path;
    int line_number;
    std::string_view line, word;
    const Block* block = nullptr; // that the line stands in; null at the top level
    const Key* key = nullptr;     // null for a word that the block does not know
    void* record = nullptr;       // of the block
    const Values* values = nullptr;
    std::string_view given = {}, unread = {}; // the line after the word, and after the values
};

struct ReadAnswer {
    std::string_view take_as = {}; // word to go on with in place of an unknown one
    bool leave_block = false;      // the line belongs behind the block
};

// Follows the reading of a scene. The reader itself stays silent and goes on.
using ReadListener = std::function<ReadAnswer(const ReadNote& note)>;

// The blocks of the top level, and the one that a word opens there; null for any other word.
std::vector<const Block*> TopBlocks();
const Block* FindTopBlock(std::string_view word);

// Reads every regular file *.mh of the folder, sorted by name; a missing folder reads as empty.
void ScanSceneFolder(const std::string& folder, const ReadListener& listener = {});

// Whether the file could be opened; its content is added to the scene.
bool ReadSceneFile(const std::string& path, const ReadListener& listener = {});

} // namespace mh
