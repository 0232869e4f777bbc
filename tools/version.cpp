// What this build is.
// SPDX-License-Identifier: MIT
#include "version.h"

#include "accel/walk.h"
#include "options.h"

#include <sys/utsname.h>

namespace mh {

std::string ProgramVersion() {
    return MOONHARE_VERSION_TEXT;
}

std::string CommitName() {
    return MOONHARE_COMMIT;
}

std::string CompilerName() {
#ifdef __clang__
    return "clang " __clang_version__;
#else
    return "g++ " __VERSION__;
#endif
}

std::string InstructionSet() {
    SelectWalks();
    return WalkName();
}

std::string MachineName() {
    utsname names = {};
    if (uname(&names) != 0) return "unknown";
    return std::string(names.sysname) + ' ' + names.release + ' ' + names.machine;
}

std::string VersionText() {
    return "moonhare " + ProgramVersion() + "\ncommit " + CommitName() + "\ncompiler "
           + CompilerName() + "\ninstruction set " + InstructionSet();
}

} // namespace mh
