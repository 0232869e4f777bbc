// Prints a fuzzer's dictionary of the scene format: blocks, keys and choices, from the tables that
// the reader works from; with an argument, those tables: a line for each key.
// SPDX-License-Identifier: MIT
#include "scene/scene_reader.h"

#include <cstdio>
#include <set>
#include <string>

namespace {

using Words = std::set<std::string>;

void add_words(const mh::Block& block, Words& words) {
    for (const mh::Key& key : block.keys) {
        words.insert(key.name);
        for (const char* choice : key.choices)
            words.insert(choice);
        if (key.block != nullptr) add_words(*key.block, words);
    }
}

// BLOCK KEY KIND COUNT ROLE SUB_BLOCK CHOICE...: kinds and roles by number, a dash for no block.
void print_table(const mh::Block& block, Words& done) {
    if (!done.insert(block.name).second) return;
    for (const mh::Key& key : block.keys) {
        std::printf("%s %s %d %d %d %s", block.name, key.name, static_cast<int>(key.kind),
                    key.count, static_cast<int>(key.role),
                    key.block == nullptr ? "-" : key.block->name);
        for (const char* choice : key.choices)
            std::printf(" %s", choice);
        std::printf("\n");
    }
    for (const mh::Key& key : block.keys)
        if (key.block != nullptr) print_table(*key.block, done);
}

} // namespace

int main(int count, char**) {
    Words words;
    if (count > 1) {
        for (const mh::Block* block : mh::TopBlocks())
            print_table(*block, words);
        return 0;
    }
    words.insert("end");
    for (const mh::Block* block : mh::TopBlocks()) {
        words.insert(block->name);
        add_words(*block, words);
    }
    for (const std::string& word : words)
        std::printf("\"%s\"\n", word.c_str());
}
