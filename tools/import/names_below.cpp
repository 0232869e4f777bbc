// Names of files, by their text alone.
// SPDX-License-Identifier: MIT
#include "import/names_below.h"

#include <algorithm>

namespace mh {

bool LeadsOutside(const std::string& name) {
    if (name.starts_with('/') || name.find(':') != name.npos) return true;
    int depth = 0;
    for (std::size_t begin = 0; begin <= name.size();) {
        const std::size_t end = std::min(name.find('/', begin), name.size());
        const std::string step = name.substr(begin, end - begin);
        depth += step == ".." ? -1 : step.empty() || step == "." ? 0 : 1;
        if (depth < 0) return true;
        begin = end + 1;
    }
    return false;
}

} // namespace mh
