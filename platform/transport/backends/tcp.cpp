// Where streams between machines lead: numeric addresses and ports.
#include <errno.h>
#include <netdb.h>
#include <netinet/in.h>
#include <string.h>

#include <charconv>
#include <new>
#include <string_view>

#include "socket.h"
#include "tcp_link.h"

namespace vela::transport {
namespace {

constexpr int backlog = 64;

struct tcp_address {
    sockaddr_storage address = {};
    socklen_t size = 0;
};

std::string text_of(const tcp_address &address) {
    char host[NI_MAXHOST];
    char port[NI_MAXSERV];
    if (getnameinfo(reinterpret_cast<const sockaddr *>(&address.address), address.size, host, sizeof host, port,
                    sizeof port, NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
        return "(unknown)";
    }
    bool is_v6 = address.address.ss_family == AF_INET6;
    return (is_v6 ? "[" + std::string(host) + "]" : std::string(host)) + ":" + port;
}

// Whether a text is a port: the system's own reader would take 70000 for 4464.
bool is_port(std::string_view text) {
    u_int16 number = 0;
    const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), number);
    return problem == std::errc() && end == text.data() + text.size();
}

// Reads "HOST:PORT". Names are not looked up, because that may take long.
bool parse_address(const std::string &text, tcp_address &result) {
    size_t colon = text.rfind(':');
    if (colon == std::string::npos || !is_port(std::string_view(text).substr(colon + 1))) {
        return false;
    }
    std::string host = text.substr(0, colon);
    if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
        host = host.substr(1, host.size() - 2);
    }
    addrinfo hints = {};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
    addrinfo *found = nullptr;
    int fault = host.empty() ? EAI_NONAME : getaddrinfo(host.c_str(), text.c_str() + colon + 1, &hints, &found);
    if (fault == EAI_MEMORY || (fault == EAI_SYSTEM && errno == ENOMEM)) {
        throw std::bad_alloc();
    }
    if (fault != 0) {
        return false;
    }
    memcpy(&result.address, found->ai_addr, found->ai_addrlen);
    result.size = found->ai_addrlen;
    freeaddrinfo(found);
    return true;
}

class tcp_backend : public backend {
  public:
    tcp_backend(const tcp_address &address, const backend_options &options) : address_(address), options_(options) {}

    int listen(failure &why) override {
        file_descriptor fd = open_socket(address_.address.ss_family, SOCK_STREAM, options_, why);
        if (!fd) {
            return -1;
        }
        const int yes = 1;
        setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        if (bind(fd.get(), reinterpret_cast<const sockaddr *>(&address_.address), address_.size) != 0 ||
            ::listen(fd.get(), backlog) != 0) {
            why = system_failure(errno, "cannot listen on " + uri());
            return -1;
        }
        getsockname(fd.get(), reinterpret_cast<sockaddr *>(&address_.address), &address_.size);
        listening_ = std::move(fd);
        return listening_.get();
    }

    std::unique_ptr<peer_link> accept(failure &why) override {
        file_descriptor fd = accept_socket(listening_.get(), options_, why);
        if (!fd) {
            return nullptr;
        }
        tcp_address peer;
        peer.size = sizeof peer.address;
        getpeername(fd.get(), reinterpret_cast<sockaddr *>(&peer.address), &peer.size);
        return make_tcp_link(std::move(fd), options_, true, text_of(peer));
    }

    std::unique_ptr<peer_link> connect(failure &why) override {
        file_descriptor fd = open_socket(address_.address.ss_family, SOCK_STREAM, options_, why);
        if (!fd) {
            return nullptr;
        }
        if (::connect(fd.get(), reinterpret_cast<const sockaddr *>(&address_.address), address_.size) != 0 &&
            errno != EINPROGRESS) {
            why = system_failure(errno, "no connection to " + uri());
            return nullptr;
        }
        return make_tcp_link(std::move(fd), options_, false, text_of(address_));
    }

    std::string uri() const override { return "tcp:" + text_of(address_); }

  private:
    tcp_address address_;
    backend_options options_;
    file_descriptor listening_;
};

}  // namespace

std::unique_ptr<backend> make_tcp(const std::string &address, const backend_options &options, failure &why) {
    tcp_address parsed;
    if (!parse_address(address, parsed)) {
        why = {VELA_EINVAL, "'tcp:" + address +
                                "': expected a numeric address and a port from 0 to 65535, tcp:127.0.0.1:4711 or "
                                "tcp:[::1]:4711"};
        return nullptr;
    }
    return std::make_unique<tcp_backend>(parsed, options);
}

}  // namespace vela::transport
