// The files that the reader may open: those below the folder of the imported one.
// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <assimp/IOSystem.hpp>

namespace mh {

// Opens the folder before the process gives up its rights. Names are taken from there; one that
// leads out of it, by "..", a leading slash, a link or a scheme, is not opened.
class FolderFiles : public Assimp::IOSystem {
public:
    explicit FolderFiles(const std::string& folder);
    ~FolderFiles() override;
    FolderFiles(const FolderFiles&) = delete;
    FolderFiles& operator=(const FolderFiles&) = delete;

    bool Exists(const char* name) const override;

    char getOsSeparator() const override { return '/'; }

    Assimp::IOStream* Open(const char* name, const char* mode) override;
    void Close(Assimp::IOStream* stream) override;

    // From here on the process may read below the folder and touch no other file, where the kernel
    // has Landlock.
    void hold_process() const;

    // The first name that led out of the folder; empty without one.
    const std::string& outside() const { return first_outside; }

private:
    int open_below(const char* name) const;

    int folder_descriptor = -1;
    mutable std::string first_outside;
};

} // namespace mh
