// Connections: read by our rules, answered through the HTTP library.
// SPDX-License-Identifier: MIT
#include "serve/web_server.h"

#include "math/at.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include <httplib.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace mh {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr std::size_t kMostConnections = 32; // each has a thread
constexpr auto kHeadPatience = seconds(5);   // from the first byte of a head, or the connection
constexpr auto kIdlePatience = seconds(30);  // between requests of whoever knows the token
constexpr auto kWritePatience = seconds(10); // while a client takes nothing
constexpr auto kAcceptPause = milliseconds(5);
constexpr int kSendBuffer_bytes = 1 << 18; // more would hold pictures that are out of date

struct Connection {
    int socket = -1; // none
    Clock::time_point since;
    bool knows_token = false;
};

struct Traffic {
    std::mutex lock;
    std::condition_variable has_task, has_room;
    std::array<Connection, kMostConnections> connections;
    std::atomic<bool> ends = false;
    Allowance accepts = {.per_second = 200, .most = 100, .left = 100};
    Allowance requests = {.per_second = 200, .most = 200, .left = 200};
    Allowance refusals = {.per_second = 20, .most = 20, .left = 20};
};

Traffic traffic;
thread_local bool is_turned_away = false;       // the connection under way
thread_local const HttpHead* request = nullptr; // under way on this thread

bool is_free(const Connection& connection) {
    return connection.socket < 0;
}

Connection* free_slot() {
    const auto slot = std::find_if(traffic.connections.begin(), traffic.connections.end(), is_free);
    return slot == traffic.connections.end() ? nullptr : &*slot;
}

// The one that has gone without the token for longest; its thread finds it closed.
void close_oldest_stranger() {
    Connection* oldest = nullptr;
    for (Connection& connection : traffic.connections)
        if (!is_free(connection) && !connection.knows_token
            && (oldest == nullptr || connection.since < oldest->since))
            oldest = &connection;
    if (oldest != nullptr) shutdown(oldest->socket, SHUT_RDWR);
}

bool wait_for(int socket, short event, Clock::time_point deadline) {
    while (!traffic.ends) {
        const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now());
        if (left.count() <= 0) return false;
        pollfd ready = {socket, event, 0};
        constexpr milliseconds kLongest(500); // ends are noticed by then
        const int count = poll(&ready, 1, static_cast<int>(std::min(left, kLongest).count()));
        if (count > 0) return true;
    }
    return false;
}

bool send_all(int socket, const char* bytes, std::size_t count) {
    while (count > 0) {
        if (!wait_for(socket, POLLOUT, Clock::now() + kWritePatience)) return false;
        const ssize_t sent = send(socket, bytes, count, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0 && (errno == EAGAIN || errno == EINTR)) continue;
        if (sent <= 0) return false;
        bytes += sent;
        count -= to_size(sent);
    }
    return true;
}

// The next head with the empty line behind it, in parts as they come. What follows it stays in
// `rest`. 0, or the status of the refusal; nothing when the client has gone or says nothing.
std::optional<int> receive_head(const Connection& connection, std::string& rest,
                                std::string& head) {
    auto deadline = Clock::now() + (connection.knows_token ? kIdlePatience : kHeadPatience);
    for (;;) {
        const std::size_t end = rest.find("\r\n\r\n");
        if (end != rest.npos) {
            head = rest.substr(0, end + 4);
            rest.erase(0, end + 4);
            return 0;
        }
        if (rest.size() > kLargestHead) return 431;
        if (!wait_for(connection.socket, POLLIN, deadline)) {
            if (rest.empty()) return std::nullopt;
            return 408;
        }
        std::array<char, 4096> bytes;
        const ssize_t count = recv(connection.socket, bytes.data(), bytes.size(), MSG_DONTWAIT);
        if (count < 0 && (errno == EAGAIN || errno == EINTR)) continue;
        if (count <= 0) return std::nullopt;
        if (rest.empty()) deadline = Clock::now() + kHeadPatience;
        rest.append(bytes.data(), to_size(count));
    }
}

// What the library reads: a head that we have parsed, and nothing behind it.
class CheckedStream : public httplib::Stream {
public:
    CheckedStream(int of_socket, std::string head) : socket_of(of_socket), text(std::move(head)) {}

    bool is_readable() const override { return taken < text.size(); }

    bool is_writable() const override { return !traffic.ends; }

    ssize_t read(char* bytes, size_t count) override {
        count = std::min(count, text.size() - taken);
        std::copy_n(text.data() + taken, count, bytes);
        taken += count;
        return static_cast<ssize_t>(count);
    }

    ssize_t write(const char* bytes, size_t count) override {
        return send_all(socket_of, bytes, count) ? static_cast<ssize_t>(count) : -1;
    }

    void get_remote_ip_and_port(std::string& address, int& port) const override {
        address.clear();
        port = 0;
    }

    void get_local_ip_and_port(std::string& address, int& port) const override {
        address.clear();
        port = 0;
    }

    socket_t socket() const override { return socket_of; }

private:
    int socket_of;
    std::string text;
    std::size_t taken = 0;
};

void refuse(int socket, int status) {
    if (!Spend(traffic.refusals, 1)) return; // then the connection just ends
    const std::string body = "refused with status " + std::to_string(status)
                             + "; open the address that moonhare serve has printed\n";
    const std::string reply =
        "HTTP/1.1 " + std::to_string(status)
        + " Refused\r\nContent-Type: text/plain\r\nContent-Length: " + std::to_string(body.size())
        + "\r\nConnection: close\r\n\r\n" + body;
    send_all(socket, reply.data(), reply.size());
}

// The same request, of nothing but what we have understood.
std::string canonical_head(const HttpHead& head) {
    return head.method + ' ' + head.path + " HTTP/1.1\r\nHost: " + head.host
           + "\r\nContent-Length: 0\r\n"
           + (head.keeps_connection ? "\r\n" : "Connection: close\r\n\r\n");
}

void take_over(const Reply& reply, httplib::Response& response) {
    response.status = reply.status;
    for (const auto& [name, value] : reply.headers)
        response.set_header(name, value);
    if (!reply.stream) return response.set_content(reply.body, reply.type);
    response.set_chunked_content_provider(
        reply.type, [stream = reply.stream](size_t, httplib::DataSink& sink) {
            std::string more;
            if (traffic.ends || !stream(more)) {
                sink.done();
                return true;
            }
            return more.empty() || sink.write(more.data(), more.size());
        });
}

// Later versions of the library ask whether the task was taken.
using Queued = decltype(std::declval<httplib::TaskQueue&>().enqueue(nullptr));

// Accepted sockets, handed to threads.
class Threads : public httplib::TaskQueue {
public:
    Threads() {
        for (std::size_t i = 0; i < kMostConnections; ++i)
            threads.emplace_back([this] { work(); });
    }

    // On the thread that accepts: while it waits here, the system keeps others waiting.
    Queued enqueue(std::function<void()> task) override {
        while (!traffic.ends && !Spend(traffic.accepts, 1))
            std::this_thread::sleep_for(kAcceptPause);
        std::unique_lock guard(traffic.lock);
        const auto has_room = [this] { return busy + tasks.size() < kMostConnections; };
        if (!has_room()) {
            close_oldest_stranger();
            traffic.has_room.wait_for(guard, milliseconds(100), has_room);
        }
        if (has_room()) {
            tasks.push_back(std::move(task));
            guard.unlock();
            traffic.has_task.notify_one();
            return Queued(true);
        }
        guard.unlock();
        is_turned_away = true;
        task();
        is_turned_away = false;
        return Queued(true);
    }

    void shutdown() override {
        {
            const std::lock_guard guard(traffic.lock);
            traffic.ends = true;
        }
        traffic.has_task.notify_all();
        threads.clear();
    }

private:
    void work() {
        std::unique_lock guard(traffic.lock);
        for (;;) {
            traffic.has_task.wait(guard, [this] { return !tasks.empty() || traffic.ends; });
            if (tasks.empty()) return;
            const std::function<void()> task = std::move(tasks.front());
            tasks.pop_front();
            ++busy;
            guard.unlock();
            task();
            guard.lock();
            --busy;
            traffic.has_room.notify_one();
        }
    }

    std::deque<std::function<void()>> tasks;
    std::size_t busy = 0;
    std::vector<std::jthread> threads;
};

class Listener : public httplib::Server {
public:
    explicit Listener(WebSettings given) : settings(std::move(given)) {
        new_task_queue = [] { return new Threads; };
        set_socket_options([](socket_t socket) {
            const int on = 1;
            setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        });
        set_pre_routing_handler([this](const httplib::Request&, httplib::Response& response) {
            take_over(settings.answer(*request), response);
            return HandlerResponse::Handled;
        });
    }

private:
    bool process_and_close_socket(socket_t socket) override {
        Connection* connection = nullptr;
        if (!is_turned_away) {
            const std::lock_guard guard(traffic.lock);
            connection = free_slot();
            if (connection != nullptr) *connection = {socket, Clock::now(), false};
        }
        if (connection != nullptr) {
            converse(*connection);
            const std::lock_guard guard(traffic.lock);
            connection->socket = -1;
        }
        shutdown(socket, SHUT_RDWR);
        close(socket);
        return true;
    }

    void converse(Connection& connection) {
        const int on = 1;
        setsockopt(connection.socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        setsockopt(connection.socket, SOL_SOCKET, SO_SNDBUF, &kSendBuffer_bytes,
                   sizeof kSendBuffer_bytes);
        for (std::string rest; !traffic.ends && answer_one(connection, rest);) {
        }
    }

    // Whether the connection stays.
    bool answer_one(Connection& connection, std::string& rest) {
        std::string text;
        const std::optional<int> received = receive_head(connection, rest, text);
        if (!received) return false;
        HttpHead head;
        int status = *received != 0 ? *received : ParseHead(text, head);
        if (status == 0) status = Refusal(settings.access, head);
        if (status == 0 && !Spend(traffic.requests, 1)) status = 429;
        if (status != 0) {
            refuse(connection.socket, status);
            return false;
        }
        {
            const std::lock_guard guard(traffic.lock);
            connection.knows_token = true;
        }
        CheckedStream stream(connection.socket, canonical_head(head));
        request = &head;
        bool has_ended = false;
        return process(stream, !head.keeps_connection, has_ended) && !has_ended
               && head.keeps_connection;
    }

    // Later versions of the library want the addresses of both ends, which no answer of ours reads.
    template<typename Stream>
    bool process(Stream& stream, bool closes, bool& has_ended) {
        if constexpr (requires { process_request(stream, closes, has_ended, nullptr); })
            return process_request(stream, closes, has_ended, nullptr);
        else
            return process_request(stream, "", 0, "", 0, closes, has_ended, nullptr);
    }

    WebSettings settings;
};

std::unique_ptr<Listener> listener;
std::thread accepting;

} // namespace

std::string StartWebServer(WebSettings settings, int& port) {
    const std::string address = settings.access.address;
    port = settings.port;
    listener = std::make_unique<Listener>(std::move(settings));
    if (port == 0)
        port = listener->bind_to_any_port(address);
    else if (!listener->bind_to_port(address, port))
        port = -1;
    if (port < 0)
        return "cannot listen on " + address
               + (errno == 0 ? "" : std::string(": ") + strerror(errno));
    accepting = std::thread([] { listener->listen_after_bind(); });
    return {};
}

void EndWebServer() {
    traffic.ends = true;
    {
        const std::lock_guard guard(traffic.lock);
        for (const Connection& connection : traffic.connections)
            if (!is_free(connection)) shutdown(connection.socket, SHUT_RDWR);
    }
    if (listener != nullptr) listener->stop();
    if (accepting.joinable()) accepting.join();
    listener.reset();
}

bool web_server_ends() {
    return traffic.ends;
}

} // namespace mh
