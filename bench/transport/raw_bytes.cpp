// The same bytes over the same kind of socket, without a codec or a channel.
#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>

#include "harness/contender.h"
#include "records/messages.h"
#include "records/records.h"
#include "transport/passage.h"
#include "transport/socket_path.h"
#include "vela_bundle.h"

namespace bench {
namespace {

constexpr u_int32 bundle_width = VELA_BUNDLE_HEADER + bundle_messages * (VELA_BUNDLE_PREFIX + clock_message_width);

/** Two sockets that are connected with each other. */
struct socket_pair {
    int sender = -1;
    int receiver = -1;
    u_int8 sent[bundle_width] = {};
    u_int8 received[65536] = {};

    socket_pair(int family, int type, const sockaddr *address, socklen_t size) {
        const int listening = ::socket(family, type | SOCK_CLOEXEC, 0);
        sender = ::socket(family, type | SOCK_CLOEXEC, 0);
        sockaddr_storage bound{};
        socklen_t bound_size = sizeof bound;
        if (::bind(listening, address, size) == 0 && ::listen(listening, 1) == 0 &&
            ::getsockname(listening, reinterpret_cast<sockaddr *>(&bound), &bound_size) == 0 &&
            ::connect(sender, reinterpret_cast<const sockaddr *>(&bound), bound_size) == 0) {
            receiver = ::accept4(listening, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        }
        ::close(listening);
        require(receiver >= 0, "connect two sockets");
        const int yes = 1;
        ::setsockopt(sender, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);  // no such option for others
        for (u_int32 at = 0; at + clock_message_width <= bundle_width; at += clock_message_width) {
            write_clock_message(sent + at);
        }
    }
    ~socket_pair() {
        ::close(sender);
        ::close(receiver);
    }

    /** A stream may hand over what was sent in pieces. */
    u_int32 pass(u_int32 length) {
        ::send(sender, sent, length, MSG_NOSIGNAL);
        u_int32 got = 0;
        while (got < length) {
            const ssize_t part = ::recv(receiver, received + got, sizeof received - got, 0);
            got += part > 0 ? static_cast<u_int32>(part) : 0;
        }
        return got;
    }
};

std::string check_pair(socket_pair &f) {
    for (u_int32 length : {clock_message_width, bundle_width}) {
        f.pass(length);
        if (std::memcmp(f.sent, f.received, length) != 0) {
            return "other bytes came";
        }
    }
    return "";
}

socket_pair &unix_socket() {
    static socket_path place;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, place.path().c_str(), sizeof address.sun_path - 1);
    static socket_pair it(AF_UNIX, SOCK_SEQPACKET, reinterpret_cast<const sockaddr *>(&address), sizeof address);
    return it;
}

socket_pair &tcp() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    static socket_pair it(AF_INET, SOCK_STREAM, reinterpret_cast<const sockaddr *>(&address), sizeof address);
    return it;
}

template <socket_pair &(*pair)()>
contender over(const char *scenario) {
    return {scenario, "raw bytes", [] { return check_pair(pair()); },
            passage_works([] { return pair().pass(clock_message_width); }, [] { return pair().pass(bundle_width); })};
}

const contender entries[] = {over<unix_socket>("transport_unix"), over<tcp>("transport_tcp")};

}  // namespace
}  // namespace bench
