// Opens the socket of the HTTP server.
#include "listener.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstring>
#include <memory>
#include <stdexcept>

#include "base/file_descriptor.h"

namespace ptp_fleet {
namespace {

struct free_addresses {
    void operator()(addrinfo *addresses) const { freeaddrinfo(addresses); }
};

constexpr int backlog = 256;

}  // namespace

int listen_on(const std::string &address, std::uint16_t port) {
    addrinfo hints = {};
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV | AI_PASSIVE;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo *found = nullptr;
    if (getaddrinfo(address.c_str(), std::to_string(port).c_str(), &hints, &found) != 0) {
        throw std::runtime_error("'" + address + "' is no IP address to listen on; give one, such as 127.0.0.1");
    }
    const std::unique_ptr<addrinfo, free_addresses> addresses(found);
    const base::file_descriptor listener(
        ::socket(found->ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, found->ai_protocol));
    const int on = 1;
    if (!listener || setsockopt(listener.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0 ||
        bind(listener.get(), found->ai_addr, found->ai_addrlen) != 0 || listen(listener.get(), backlog) != 0) {
        throw std::runtime_error("cannot listen on " + address + " port " + std::to_string(port) + ": " +
                                 std::strerror(errno));
    }
    return fcntl(listener.get(), F_DUPFD_CLOEXEC, 0);
}

std::uint16_t port_of(int socket) {
    sockaddr_storage bound = {};
    socklen_t size = sizeof bound;
    getsockname(socket, reinterpret_cast<sockaddr *>(&bound), &size);
    const bool is_ipv6 = bound.ss_family == AF_INET6;
    return ntohs(is_ipv6 ? reinterpret_cast<const sockaddr_in6 &>(bound).sin6_port
                         : reinterpret_cast<const sockaddr_in &>(bound).sin_port);
}

}  // namespace ptp_fleet
