// Limits and the filter of system calls.
// SPDX-License-Identifier: MIT
#include "decode/confine.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <span>

#include <seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>

namespace mh {

namespace {

void limit(decltype(RLIMIT_CPU) resource, const char* most) {
    const auto value = static_cast<rlim_t>(std::strtoull(most, nullptr, 10));
    const rlimit limits = {value, value};
    setrlimit(resource, &limits);
}

// What decoders and the C library need once the file is open. All else fails as without the right
// to it: no file, no socket, no process.
constexpr int kAllowed[] = {
    SCMP_SYS(read),         SCMP_SYS(write),         SCMP_SYS(lseek),        SCMP_SYS(close),
    SCMP_SYS(fstat),        SCMP_SYS(newfstatat),    SCMP_SYS(dup),          SCMP_SYS(fcntl),
    SCMP_SYS(brk),          SCMP_SYS(mmap),          SCMP_SYS(munmap),       SCMP_SYS(mremap),
    SCMP_SYS(mprotect),     SCMP_SYS(madvise),       SCMP_SYS(futex),        SCMP_SYS(sched_yield),
    SCMP_SYS(rt_sigreturn), SCMP_SYS(clock_gettime), SCMP_SYS(gettimeofday), SCMP_SYS(getrandom),
    SCMP_SYS(sysinfo),      SCMP_SYS(exit),          SCMP_SYS(exit_group),
};

// Opens by the rule that its caller gives to the kernel; what it opens cannot be written, since no
// file may grow, nor run.
constexpr int kAllowedBelow[] = {SCMP_SYS(openat2), SCMP_SYS(pread64)};

bool allow(scmp_filter_ctx filter, std::span<const int> calls) {
    bool good = true;
    for (const int call : calls)
        good = good && seccomp_rule_add(filter, SCMP_ACT_ALLOW, call, 0) == 0;
    return good;
}

bool filter_calls(Reads reads) {
    const scmp_filter_ctx filter = seccomp_init(SCMP_ACT_ERRNO(EPERM));
    if (filter == nullptr) return false;
    bool good = allow(filter, kAllowed);
    if (reads == Reads::files_below_a_folder) good = good && allow(filter, kAllowedBelow);
    good = good && seccomp_load(filter) == 0;
    seccomp_release(filter);
    return good;
}

} // namespace

// Ends with the renderer, not by the interrupt that lets the renderer finish its frame; writes no
// files, gains no rights, leaves no core.
bool Confine(const char* seconds, const char* bytes, Reads reads) {
    std::signal(SIGINT, SIG_IGN);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    prctl(PR_SET_DUMPABLE, 0);
    limit(RLIMIT_CORE, "0");
    limit(RLIMIT_FSIZE, "0");
    limit(RLIMIT_CPU, seconds);
    limit(RLIMIT_AS, bytes);
    return filter_calls(reads);
}

} // namespace mh
