// The page itself.
// SPDX-License-Identifier: MIT
#pragma once

#include "serve/web_server.h"

namespace mh {

// With rules that let it run nothing but its own script, and a cookie in place of the token.
Reply PageReply(const Access& access);

// The reply of a request that leads nowhere.
Reply NothingThere();

// A reply in JSON that no cache keeps.
Reply JsonReply(std::string json);

} // namespace mh
