// The nearest legal word to one that is not.
// SPDX-License-Identifier: MIT
#include "spelling.h"

#include <algorithm>
#include <cctype>
#include <vector>

namespace mh {

namespace {

char lower(char c) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
}

// Letters inserted, deleted, replaced or exchanged with their neighbour: the optimal string
// alignment distance, [Damerau64]. Three rows of its table are kept.
std::size_t slips(std::string_view a, std::string_view b) {
    std::vector<std::size_t> before, last(b.size() + 1), row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j)
        last[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t other = lower(a[i - 1]) == lower(b[j - 1]) ? 0 : 1;
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + other});
            if (i > 1 && j > 1 && lower(a[i - 1]) == lower(b[j - 2])
                && lower(a[i - 2]) == lower(b[j - 1]))
                row[j] = std::min(row[j], before[j - 2] + 1);
        }
        before = last;
        last = row;
    }
    return last[b.size()];
}

} // namespace

std::string NearestWord(std::string_view word, std::span<const std::string_view> legal) {
    constexpr std::size_t kLettersOfSlip = 3, kLongest = 64;
    std::size_t least = std::max<std::size_t>(word.size() / kLettersOfSlip, 1) + 1;
    std::string nearest;
    if (word.size() > kLongest) return nearest;
    for (const std::string_view candidate : legal) {
        if (candidate.size() > kLongest) continue;
        const std::size_t distance = slips(word, candidate);
        if (distance >= least || distance >= candidate.size()) continue;
        least = distance;
        nearest = candidate;
    }
    return nearest;
}

} // namespace mh
