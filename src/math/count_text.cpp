// Numbers of things in messages.
// SPDX-License-Identifier: MIT
#include "math/count_text.h"

namespace mh {

std::string CountText(std::int64_t count, const std::string& one, const std::string& more) {
    const std::string plural = more.empty() ? one + 's' : more;
    return std::to_string(count) + ' ' + (count == 1 ? one : plural);
}

} // namespace mh
