// Outputs of a render, tried before it begins.
// SPDX-License-Identifier: MIT
#pragma once

#include "options.h"

#include <string>

namespace mh {

// Why one of the files that options name could not be written; empty for none.
std::string FaultOfFiles(const Arguments& arguments);

// Why layers cannot go to the file of that option, by its name.
std::string FaultOfLayers(const Arguments& arguments);

// The same of the pictures, with the folder of --output-dir made. What the scene names in vain is
// reported, and counts only where nothing is left to write.
std::string FaultOfPictures(const Arguments& arguments);

} // namespace mh
