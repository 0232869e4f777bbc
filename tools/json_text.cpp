// Text of JSON.
// SPDX-License-Identifier: MIT
#include "json_text.h"

namespace mh {

std::string JsonLine(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
}

} // namespace mh
