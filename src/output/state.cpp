// The global tables of this folder.
// SPDX-License-Identifier: MIT
#include "output/image_writer.h"
#include "output/run_hooks.h"
#include "output/types.h"

namespace mh {

std::vector<Camera> Cameras;
RunHooks Hooks;
ImageWritingRecord ImageWriting;

} // namespace mh
