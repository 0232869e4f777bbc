// Prints a fuzzer's dictionary of the scene format: blocks, keys and choices, from the tables that
// the reader works from.
// SPDX-License-Identifier: MIT
#include "scene/blocks.h"
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

} // namespace

int main() {
    Words words = {"end"};
    for (const std::string_view word : mh::BlockWords())
        words.emplace(word);
    for (const mh::Block* block :
         {&mh::kRenderBlock, &mh::kCameraBlock, &mh::kPointLightBlock, &mh::kParallelLightBlock,
          &mh::kSkyLightBlock, &mh::kGeometryLightBlock, &mh::kShaderBlock, &mh::kObjectBlock})
        add_words(*block, words);
    for (const std::string& word : words)
        std::printf("\"%s\"\n", word.c_str());
}
