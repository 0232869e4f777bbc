// Files are opened by the kernel's own rule of what lies below a folder.
// SPDX-License-Identifier: MIT
#include "import/folder_files.h"

#include "import/names_below.h"
#include "math/at.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <memory>

#include <assimp/IOStream.hpp>
#include <fcntl.h>
#include <linux/landlock.h>
#include <linux/openat2.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace mh {

namespace {

class FileBelow : public Assimp::IOStream {
public:
    FileBelow(int file, std::size_t file_bytes) : descriptor(file), bytes(file_bytes) {}

    ~FileBelow() override { close(descriptor); }

    FileBelow(const FileBelow&) = delete;
    FileBelow& operator=(const FileBelow&) = delete;

    // Whole items, as many as there are.
    std::size_t Read(void* to, std::size_t size, std::size_t count) override {
        std::size_t wanted = 0;
        if (size == 0 || __builtin_mul_overflow(size, count, &wanted)) return 0;
        wanted = std::min(wanted, bytes - at) / size * size;
        std::size_t done = 0;
        while (done < wanted) {
            const ssize_t got = pread(descriptor, static_cast<char*>(to) + done, wanted - done,
                                      static_cast<off_t>(at + done));
            if (got <= 0) break;
            done += to_size(got);
        }
        at += done;
        return done / size;
    }

    std::size_t Write(const void*, std::size_t, std::size_t) override { return 0; }

    aiReturn Seek(std::size_t offset, aiOrigin origin) override {
        const std::size_t base = origin == aiOrigin_CUR ? at : origin == aiOrigin_END ? bytes : 0;
        const std::size_t target = base + offset; // offsets below zero wrap around
        if (target > bytes) return aiReturn_FAILURE;
        at = target;
        return aiReturn_SUCCESS;
    }

    std::size_t Tell() const override { return at; }

    std::size_t FileSize() const override { return bytes; }

    void Flush() override {}

private:
    int descriptor;
    std::size_t bytes, at = 0;
};

} // namespace

FolderFiles::FolderFiles(const std::string& folder)
    : folder_descriptor(open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)) {}

FolderFiles::~FolderFiles() {
    if (folder_descriptor >= 0) close(folder_descriptor);
}

void FolderFiles::hold_process() const {
    constexpr std::uint64_t kReading = LANDLOCK_ACCESS_FS_READ_FILE | LANDLOCK_ACCESS_FS_READ_DIR;
    constexpr std::uint64_t kAll = (LANDLOCK_ACCESS_FS_MAKE_SYM << 1) - 1; // of the first version
    landlock_ruleset_attr all = {}; // later kernels handle more than files
    all.handled_access_fs = kAll;
    const auto rules = static_cast<int>(syscall(SYS_landlock_create_ruleset, &all, sizeof all, 0));
    if (rules < 0) return;
    landlock_path_beneath_attr below = {};
    below.allowed_access = kReading;
    below.parent_fd = folder_descriptor;
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    syscall(SYS_landlock_add_rule, rules, LANDLOCK_RULE_PATH_BENEATH, &below, 0);
    syscall(SYS_landlock_restrict_self, rules, 0);
    close(rules);
}

int FolderFiles::open_below(const char* given) const {
    std::string name = given;
    std::replace(name.begin(), name.end(), '\\', '/');
    const open_how how = {O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0,
                          RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS};
    const bool leads_outside = LeadsOutside(name);
    const long descriptor =
        leads_outside ? -1
                      : syscall(SYS_openat2, folder_descriptor, name.c_str(), &how, sizeof how);
    if (descriptor < 0 && (leads_outside || errno == EXDEV) && first_outside.empty())
        first_outside = name;
    return static_cast<int>(descriptor);
}

bool FolderFiles::Exists(const char* name) const {
    const int descriptor = open_below(name);
    if (descriptor >= 0) close(descriptor);
    return descriptor >= 0;
}

Assimp::IOStream* FolderFiles::Open(const char* name, const char* mode) {
    if (mode[0] != 'r') return nullptr;
    const int descriptor = open_below(name);
    struct stat status = {};
    if (descriptor < 0) return nullptr;
    if (fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode))
        return new FileBelow(descriptor, to_size(status.st_size));
    close(descriptor);
    return nullptr;
}

void FolderFiles::Close(Assimp::IOStream* stream) {
    delete stream;
}

} // namespace mh
