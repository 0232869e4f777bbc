// Names of the records of a vector, so that a scene of many is not searched from its start for each
// name that it uses.
// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <unordered_map>
#include <vector>

namespace mh {

// What is known of a vector that only grows. Whoever renames a record or replaces the vector
// assigns {}.
struct NameIndex {
    std::unordered_map<std::string, int> first; // record of a name
    std::size_t known = 0;                      // records looked at
};

// Index of the first record of that name, byte for byte; -1 when there is none.
template<typename Record>
int FindName(NameIndex& index, const std::vector<Record>& records, std::string Record::*name,
             const std::string& wanted) {
    if (index.known > records.size()) index = {};
    for (; index.known < records.size(); ++index.known)
        index.first.emplace(records[index.known].*name, static_cast<int>(index.known));
    const auto found = index.first.find(wanted);
    return found == index.first.end() ? -1 : found->second;
}

} // namespace mh
