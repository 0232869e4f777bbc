// Connections of browsers. Bounded in number, size and rate: whoever connects, a render beside it
// loses no more than that, and whoever sends nothing makes room for whoever knows the token.
// SPDX-License-Identifier: MIT
#pragma once

#include "serve/access.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace mh {

struct Reply {
    int status = 200;
    std::string type = "text/plain; charset=utf-8";
    std::string body = {};
    std::vector<std::pair<std::string, std::string>> headers = {};
    // Appends what the client is to have next, waiting for it if need be; false ends the reply. In
    // place of a body.
    std::function<bool(std::string& more)> stream = {};
};

struct WebSettings {
    Access access;
    int port = 0; // 0: any that is free
    // Of requests that may be made; called on several threads.
    std::function<Reply(const HttpHead& head)> answer;
};

// Listens until EndWebServer. Empty with the port that was chosen, or why not.
std::string StartWebServer(WebSettings settings, int& port);

// Ends all connections.
void EndWebServer();

// Whether EndWebServer has been called: streams end.
bool web_server_ends();

} // namespace mh
