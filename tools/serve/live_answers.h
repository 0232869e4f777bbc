// What the pages of a live render ask for.
// SPDX-License-Identifier: MIT
#pragma once

#include "serve/web_server.h"

namespace mh {

// Pictures are sent at so many bytes a second, to all pages together.
void LimitSending(double bytes_per_second);

Reply AnswerLive(const HttpHead& head);

} // namespace mh
