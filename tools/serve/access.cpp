// Token, host and origin of requests.
// SPDX-License-Identifier: MIT
#include "serve/access.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mh {

namespace {

constexpr int kUnauthorized = 401, kForbidden = 403;
constexpr ssize_t kTokenDigits = 32;

// Without its port.
std::string name_of_host(const std::string& host) {
    if (host.starts_with('[')) {
        const std::size_t end = host.find(']');
        return end == host.npos ? host : host.substr(1, end - 1);
    }
    return host.substr(0, host.find(':'));
}

bool is_address(const std::string& name) {
    std::array<unsigned char, sizeof(in6_addr)> bytes = {};
    return inet_pton(AF_INET, name.c_str(), bytes.data()) == 1
           || inet_pton(AF_INET6, name.c_str(), bytes.data()) == 1;
}

std::string own_name() {
    std::array<char, 256> name = {};
    return gethostname(name.data(), name.size() - 1) == 0 ? std::string(name.data())
                                                          : std::string();
}

// A page of another site reaches this machine under a name that it chose, never under these.
bool is_own_host(const Access& access, const std::string& host) {
    const std::string name = name_of_host(host);
    return name == "localhost" || name == access.address || is_address(name)
           || (!name.empty() && name == own_name());
}

bool comes_from_other_page(const HttpHead& head) {
    if (!head.origin.empty() && head.origin != "http://" + head.host) return true;
    const std::string& site = head.fetch_site;
    if (head.method == "GET" && head.path == "/") return false; // a link to the page
    return !site.empty() && site != "same-origin" && site != "none";
}

void count_up(Allowance& allowance) {
    const auto now = std::chrono::steady_clock::now();
    const double gone_s = std::chrono::duration<double>(now - allowance.counted).count();
    allowance.counted = now;
    allowance.left = std::min(allowance.left + gone_s * allowance.per_second, allowance.most);
}

} // namespace

std::string MakeToken() {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::array<std::uint8_t, 16> bytes = {};
    if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size()))
        std::abort(); // no secret can be made
    std::string token;
    for (const std::uint8_t byte : bytes) {
        token += kDigits[byte >> 4];
        token += kDigits[byte & 15];
    }
    return token;
}

std::string TokenOfFile(const std::string& path, std::string& token) {
    const int made = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (made >= 0) {
        token = MakeToken();
        const bool is_written =
            write(made, token.data(), token.size()) == static_cast<ssize_t>(token.size());
        close(made);
        return is_written ? "" : "cannot write " + path;
    }
    struct stat kind = {};
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file < 0) return "cannot read " + path;
    const bool is_own = fstat(file, &kind) == 0 && S_ISREG(kind.st_mode)
                        && (kind.st_mode & (S_IRWXG | S_IRWXO)) == 0 && kind.st_uid == geteuid();
    std::array<char, kTokenDigits + 1> text = {};
    const bool is_whole = read(file, text.data(), text.size()) == kTokenDigits;
    close(file);
    if (!is_own) return path + " may be read by others; chmod 600 mends that";
    const std::string digits(text.data());
    if (!is_whole || digits.find_first_not_of("0123456789abcdef") != digits.npos)
        return path + " does not hold a token";
    token = digits;
    return {};
}

bool EqualInConstantTime(const std::string& a, const std::string& b) {
    std::size_t different = a.size() ^ b.size();
    for (std::size_t i = 0; i < a.size(); ++i)
        different |= static_cast<std::size_t>(a[i] ^ (i < b.size() ? b[i] : '\0')) & 0xFF;
    return different == 0;
}

int Refusal(const Access& access, const HttpHead& head) {
    if (!is_own_host(access, head.host) || comes_from_other_page(head)) return kForbidden;
    const bool by_cookie = EqualInConstantTime(access.token, CookieOf(head, access.cookie));
    const bool by_address =
        head.path == "/" && EqualInConstantTime(access.token, head.value("token"));
    return by_cookie || by_address ? 0 : kUnauthorized;
}

std::string CookieText(const Access& access) {
    return access.cookie + '=' + access.token + "; HttpOnly; SameSite=Strict; Path=/";
}

bool Spend(Allowance& allowance, double amount) {
    const std::lock_guard guard(allowance.lock);
    count_up(allowance);
    if (allowance.left < amount) return false;
    allowance.left -= amount;
    return true;
}

double LeftOf(Allowance& allowance) {
    const std::lock_guard guard(allowance.lock);
    count_up(allowance);
    return allowance.left;
}

} // namespace mh
