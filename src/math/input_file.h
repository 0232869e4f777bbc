// The one way to open a file that a scene or a user names. Anything but a regular file is refused:
// a FIFO may block for ever, and a device may have no end.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

namespace mh {

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

struct InputFile {
    std::unique_ptr<std::FILE, FileCloser> handle;
    std::uint64_t size_bytes = 0; // when it was opened

    explicit operator bool() const { return handle != nullptr; }
};

enum class Origin : std::uint8_t {
    scene, // named by a scene, which may come from elsewhere
    user,  // named by whoever started the program
};

// Empty unless the path names a regular file (links are followed) that can be read. The kind is
// that of the opened file: the path may lead to another one a moment later.
InputFile OpenInput(const std::string& path, Origin origin = Origin::scene);

// The same, behind a byte order mark of UTF-8.
InputFile OpenText(const std::string& path);

// Opens the file for a process that can open none later: OpenInput then hands it out, from its
// start.
void PreopenInput(const std::string& path);

// From here on nothing that a scene names is opened outside of the folder, links followed;
// `refused` is called with the path of each file that was not opened. An empty folder ends it.
void ConfineInputs(const std::string& folder, void (*refused)(const std::string& path));

// The folder with its links resolved; empty without one.
const std::string& ConfiningFolder();

// Whether the content and a copy of it fit into memory.
bool FitsMemory(const InputFile& file);

// The rest, up to the size that the file had when it was opened.
std::string ReadRest(InputFile& file);

} // namespace mh
