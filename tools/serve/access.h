// Who may use the server: whoever knows the token, from pages that the server itself has sent.
// SPDX-License-Identifier: MIT
#pragma once

#include "serve/http_head.h"

#include <chrono>
#include <mutex>
#include <string>

namespace mh {

struct Access {
    std::string token;
    std::string cookie;  // name; a browser sends cookies of one port to all ports
    std::string address; // that the server listens on
};

// 128 random bits in hexadecimal digits.
std::string MakeToken();

// The token of a file that only its owner may read; makes the file where there is none. Why not,
// with an empty token.
std::string TokenOfFile(const std::string& path, std::string& token);

// Takes the same time wherever the texts differ.
bool EqualInConstantTime(const std::string& a, const std::string& b);

// 0, or the status with which the request is refused: 401 without the token, 403 for another host,
// or sent by another site's page.
int Refusal(const Access& access, const HttpHead& head);

// The header that lets a browser keep the token; no script can read it, no other site send it.
std::string CookieText(const Access& access);

// Amounts that come in at a steady rate, and that may be saved up for a while.
struct Allowance {
    double per_second = 0.0, most = 0.0;
    double left = 0.0;
    std::chrono::steady_clock::time_point counted = {};
    std::mutex lock = {};
};

// Takes so much, if there is as much.
bool Spend(Allowance& allowance, double amount);

// What is left at this moment.
double LeftOf(Allowance& allowance);

} // namespace mh
