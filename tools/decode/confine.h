// What the helper program gives up before it looks at a file.
// SPDX-License-Identifier: MIT
#pragma once

namespace mh {

enum class Reads { open_files, files_below_a_folder };

// From here on the process has so much processor time and address space, reads and writes what is
// open already or lies below a folder that it holds, and has nothing else from the system but
// memory and its own end. False when the system refuses.
bool Confine(const char* seconds, const char* bytes, Reads reads = Reads::open_files);

} // namespace mh
