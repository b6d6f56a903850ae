// A few lines of protocol for status and metrics.
#include "agent/serve/status_server.h"

#include <arpa/inet.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <stdexcept>

#include "agent/serve/status.h"

namespace ptp_agent {
namespace {

constexpr std::size_t most_clients = 32;
constexpr std::size_t longest_request = 1 << 20;
constexpr std::uint64_t patience_ms = 5000;

[[noreturn]] void fail(const std::string &what) { throw std::runtime_error(what + ": " + std::strerror(errno)); }

std::string first_line(const std::string &request) { return request.substr(0, request.find_first_of("\r\n")); }

/** The number behind "plan "; nothing for other lines. */
std::optional<std::size_t> plan_length(const std::string &line) {
    constexpr std::string_view word = "plan ";
    std::size_t length = 0;
    if (!line.starts_with(word)) {
        return std::nullopt;
    }
    const auto [end, code] = std::from_chars(line.data() + word.size(), line.data() + line.size(), length);
    return code == std::errc() && *end == '\0' && length < longest_request ? std::optional(length) : std::nullopt;
}

std::string http(const char *status, const char *type, const std::string &body) {
    return std::string("HTTP/1.1 ") + status + "\r\nContent-Type: " + type +
           "\r\nContent-Length: " + std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" + body;
}

}  // namespace

StatusServer::StatusServer(EventLoop &loop, Agent &agent) : loop_(loop), agent_(agent) {
    listen_unix(agent.configuration().status_socket, agent.configuration().status_mode);
    if (!agent.configuration().metrics_address.empty()) {
        listen_loopback(agent.configuration().metrics_address);
    }
}

StatusServer::~StatusServer() { unlink(path_.c_str()); }

void StatusServer::listen_unix(const std::string &path, std::uint32_t mode) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        fail("status socket " + path);
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    base::file_descriptor made(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const auto *where = reinterpret_cast<const sockaddr *>(&address);
    // Whoever answers there lives; a file that nobody answers at was left behind.
    if (connect(made.get(), where, sizeof address) == 0) {
        errno = EADDRINUSE;
        fail("status socket " + path);
    }
    unlink(path.c_str());
    if (!made || bind(made.get(), where, sizeof address) != 0 || chmod(path.c_str(), mode) != 0) {
        fail("status socket " + path);
    }
    path_ = path;
    listen(std::move(made), false);
}

void StatusServer::listen_loopback(const std::string &text) {
    const std::size_t colon = text.rfind(':');
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    unsigned port = 0;
    const std::string host = text.substr(0, colon);
    if (colon != std::string::npos) {
        std::from_chars(text.data() + colon + 1, text.data() + text.size(), port);
    }
    const bool is_loopback = inet_pton(AF_INET, host.c_str(), &address.sin_addr) == 1 &&
                             (ntohl(address.sin_addr.s_addr) >> 24) == 127 && port > 0 && port < 65536;
    if (!is_loopback) {
        throw std::runtime_error("status.metrics " + text +
                                 ": give an address of 127.0.0.0/8 and a port, as 127.0.0.1:9162");
    }
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    base::file_descriptor made(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const int on = 1;
    setsockopt(made.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (!made || bind(made.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        fail("status.metrics " + text);
    }
    listen(std::move(made), true);
}

void StatusServer::listen(base::file_descriptor socket, bool is_http) {
    if (::listen(socket.get(), 16) != 0) {
        fail("listen for questions of status");
    }
    Listener &listener = listeners_.emplace_back();
    listener.socket = std::move(socket);
    listener.is_http = is_http;
    listener.readable =
        loop_.watch(listener.socket.get(), EPOLLIN, [this, &listener](std::uint32_t) { accept(listener); });
}

void StatusServer::accept(Listener &listener) {
    base::file_descriptor made(accept4(listener.socket.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!made || clients_.size() >= most_clients) {
        return;
    }
    const auto client = clients_.emplace(clients_.end());
    client->socket = std::move(made);
    client->is_http = listener.is_http;
    client->ready = loop_.watch(client->socket.get(), EPOLLIN, [this, client](std::uint32_t) { serve(client); });
    client->deadline = std::make_unique<Timer>(loop_, [this, client] { clients_.erase(client); });
    client->deadline->start_ms(patience_ms);
}

bool StatusServer::is_complete(const Client &client) const {
    const std::size_t end = client.request.find('\n');
    if (end == std::string::npos) {
        return false;
    }
    if (const auto length = plan_length(first_line(client.request))) {
        return client.request.size() >= end + 1 + *length;
    }
    const bool is_http = client.is_http || client.request.starts_with("GET ");
    return !is_http || client.request.find("\r\n\r\n") != std::string::npos ||
           client.request.find("\n\n") != std::string::npos;
}

bool StatusServer::receive(Client &client) {
    char part[4096];
    const ssize_t count = read(client.socket.get(), part, sizeof part);
    if (count <= 0) {
        return count < 0 && (errno == EAGAIN || errno == EINTR);
    }
    client.request.append(part, static_cast<std::size_t>(count));
    return client.request.size() < longest_request + 64;
}

void StatusServer::serve(std::list<Client>::iterator client) {
    if (client->answer.empty()) {
        if (!receive(*client)) {
            clients_.erase(client);
            return;
        }
        if (!is_complete(*client)) {
            return;
        }
        client->answer = answer_to(*client);
    }
    const ssize_t count = send(client->socket.get(), client->answer.data() + client->sent,
                               client->answer.size() - client->sent, MSG_NOSIGNAL);
    client->sent += count > 0 ? static_cast<std::size_t>(count) : 0;
    if (client->sent == client->answer.size() || (count < 0 && errno != EAGAIN && errno != EINTR)) {
        clients_.erase(client);
    } else {
        sd_event_source_set_io_events(client->ready.get(), EPOLLOUT);
    }
}

std::string StatusServer::answer_to(const Client &client) {
    const std::string line = first_line(client.request);
    if (client.is_http || line.starts_with("GET ")) {
        return answer_http(line);
    }
    if (line == "status") {
        return status_json(agent_) + "\n";
    }
    if (line == "events") {
        return events_json(agent_) + "\n";
    }
    if (line == "config") {
        return config_json(agent_) + "\n";
    }
    if (line == "metrics") {
        return metrics_text(agent_);
    }
    if (std::string answer = answer_question(agent_.answers(), line); !answer.empty()) {
        return answer;
    }
    if (const auto length = plan_length(line)) {
        const auto *bytes =
            reinterpret_cast<const std::uint8_t *>(client.request.data()) + client.request.find('\n') + 1;
        return agent_.plan_for({bytes, *length});
    }
    return "unknown question; ask status, events, config, metrics, answers or plan LENGTH\n";
}

std::string StatusServer::answer_http(const std::string &line) {
    if (line.starts_with("GET /metrics ")) {
        return http("200 OK", "text/plain; version=0.0.4", metrics_text(agent_));
    }
    if (line.starts_with("GET /status ")) {
        return http("200 OK", "application/json", status_json(agent_));
    }
    return http("404 Not Found", "text/plain", "there are /metrics and /status\n");
}

}  // namespace ptp_agent
