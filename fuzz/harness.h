// What the harnesses share. Each defines Try and is linked twice: with libFuzzer, which makes up
// inputs, and with replay.cpp, which takes them from files.
// SPDX-License-Identifier: MIT
#pragma once

#include "geometry/types.h"

#include <string>
#include <string_view>

namespace mh::fuzz {

// Feeds one input to the library and leaves no trace of it. The working directory is an empty
// folder meanwhile, standard output is captured, and there is one thread.
void Try(std::string_view input);

void WriteFile(const std::string& name, std::string_view content);

// The text with the separators of paths replaced, so that no file name in it leaves the folder.
std::string WithoutSeparators(std::string_view text);

// Has a geometry file of this content read into the only part of a scene, and the scene assembled.
void AssembleFrom(std::string_view content, void (*read)(Part& part, const std::string& path));

} // namespace mh::fuzz
