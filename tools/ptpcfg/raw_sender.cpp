// Sends packets past the transport, in its frames.
#include <arpa/inet.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>

#include "base/file_descriptor.h"
#include "damage.h"
#include "failure.h"
#include "signals.h"

namespace ptpcfg {
namespace {

using clock = std::chrono::steady_clock;

/** A packet of a Unix socket holds so much; longer frames would need marks, which are the transport's. */
constexpr size_t longest_packet = 65536;

/** A connected socket, or none with errno. */
base::file_descriptor connect_unix(const std::string &path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return {};
    }
    path.copy(address.sun_path, path.size());
    base::file_descriptor socket(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    if (socket && ::connect(socket.get(), reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
        return {};
    }
    return socket;
}

base::file_descriptor connect_tcp(const std::string &place) {
    const size_t colon = place.rfind(':');
    std::string host = place.substr(0, colon);
    if (host.starts_with('[') && host.ends_with(']')) {
        host = host.substr(1, host.size() - 2);
    }
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
    addrinfo *found = nullptr;
    if (colon == std::string::npos ||
        ::getaddrinfo(host.c_str(), place.substr(colon + 1).c_str(), &hints, &found) != 0) {
        throw failure(exit_code::usage, "tcp:" + place + ": expected a numeric address and a port");
    }
    base::file_descriptor socket(::socket(found->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const bool is_connected = socket && ::connect(socket.get(), found->ai_addr, found->ai_addrlen) == 0;
    ::freeaddrinfo(found);
    return is_connected ? std::move(socket) : base::file_descriptor();
}

base::file_descriptor connect_to(const std::string &uri) {
    if (uri.starts_with("unix:")) {
        return connect_unix(uri.substr(5));
    }
    if (uri.starts_with("tcp:")) {
        return connect_tcp(uri.substr(4));
    }
    throw failure(exit_code::usage, uri + ": damaged messages go to unix:PATH and tcp:HOST:PORT");
}

base::file_descriptor wait_for_peer(const channel_options &options) {
    const auto end = clock::now() + std::chrono::duration<double>(options.timeout);
    for (;;) {
        base::file_descriptor socket = connect_to(options.uri);
        if (socket) {
            return socket;
        }
        if (clock::now() >= end || stopped()) {
            throw failure(exit_code::peer, options.uri + ": cannot send: " + std::strerror(errno));
        }
        wait_or_stop(-1, 50);
    }
}

void send_packet(int socket, const std::string &uri, std::string_view packet) {
    while (!packet.empty()) {
        const ssize_t sent = ::send(socket, packet.data(), packet.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno != EINTR) {
            throw failure(exit_code::peer, uri + ": cannot send: " + std::strerror(errno));
        }
        packet.remove_prefix(sent > 0 ? static_cast<size_t>(sent) : 0);
    }
}

/** Lets the peer read: it closes when it has, or drops the connection. */
void say_farewell(int socket) {
    ::shutdown(socket, SHUT_WR);
    const auto end = clock::now() + std::chrono::seconds(1);
    char ignored[256];
    for (auto now = clock::now(); now < end && !stopped(); now = clock::now()) {
        pollfd watched = {socket, POLLIN, 0};
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - now);
        if (::poll(&watched, 1, static_cast<int>(left.count())) > 0 &&
            ::recv(socket, ignored, sizeof ignored, 0) <= 0) {
            return;
        }
    }
}

}  // namespace

void send_raw(const channel_options &options, const std::vector<std::string> &packets) {
    end_at_signals();
    const base::file_descriptor socket = wait_for_peer(options);
    const bool is_stream = options.uri.starts_with("tcp:");
    for (const std::string &packet : packets) {
        if (!is_stream && packet.size() > longest_packet) {
            throw failure(exit_code::bad_input, options.uri + ": damaged messages of a unix: channel have up to " +
                                                    std::to_string(longest_packet) + " bytes, this one " +
                                                    std::to_string(packet.size()));
        }
        const u_int32 length = htonl(static_cast<u_int32>(packet.size()));
        std::string frame;
        if (is_stream) {
            frame.assign(reinterpret_cast<const char *>(&length), sizeof length);
        }
        send_packet(socket.get(), options.uri, frame + packet);
    }
    say_farewell(socket.get());
}

}  // namespace ptpcfg
