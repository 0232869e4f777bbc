// The command "serve": a render, or the pictures of a folder, in browsers.
// SPDX-License-Identifier: MIT
#include "serve/serve.h"

#include "files.h"
#include "serve/folder.h"
#include "serve/live_answers.h"
#include "serve/page_reply.h"
#include "serve/session.h"
#include "serve/watch.h"

#include <iostream>

namespace mh {

namespace {

// As it stands in a URL.
std::string host_of(const std::string& address) {
    if (address == "0.0.0.0" || address == "::") return "localhost";
    return address.find(':') == address.npos ? address : '[' + address + ']';
}

std::string start_server(const Arguments& arguments, Reply (*answer)(const HttpHead&)) {
    WebSettings settings;
    settings.access.address = arguments.listen;
    std::string fault;
    if (arguments.token_file.empty())
        settings.access.token = MakeToken();
    else
        fault = TokenOfFile(arguments.token_file, settings.access.token);
    if (!fault.empty()) return fault;
    // Browsers send cookies of one port to all: each server has a name of its own.
    settings.access.cookie = "moonhare_" + settings.access.token.substr(0, 8);
    settings.port = arguments.port;
    const Access access = settings.access;
    settings.answer = [access, answer](const HttpHead& head) {
        return head.method == "GET" && head.path == "/" ? PageReply(access) : answer(head);
    };
    int port = 0;
    fault = StartWebServer(std::move(settings), port);
    if (fault.empty())
        std::cout << "http://" + host_of(arguments.listen) + ':' + std::to_string(port)
                         + "/?token=" + access.token + '\n'
                  << std::flush;
    return fault;
}

} // namespace

int Serve(const Arguments& arguments) {
    if (!IsDirectory(arguments.scene)) return kWrongUse;
    const bool shows_pictures = IsPictureFolder(arguments.scene);
    if (shows_pictures) OpenPictureFolder(arguments.scene);
    LimitSending(arguments.send_rate_mb * 1e6);
    const std::string fault = start_server(arguments, shows_pictures ? AnswerFolder : AnswerLive);
    if (!fault.empty()) {
        Complain(fault);
        return kWrongUse;
    }
    if (arguments.watch && !shows_pictures) StartWatching(arguments);
    const int status = shows_pictures ? WaitForEnd() : RunSession(arguments);
    EndWatching();
    EndWebServer();
    return status;
}

} // namespace mh
