// The same bytes over the same kind of socket, without a codec or a channel.
#include "socket_message/socket_path.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>

#include "harness/contender.h"
#include "records/messages.h"
#include "records/records.h"

namespace bench {
namespace {

struct fixture {
    socket_path place;
    int sender;
    int receiver = -1;
    u_int8 sent[clock_message_width] = {};
    u_int8 received[65536] = {};

    fixture() {
        write_clock_message(sent);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, place.path().c_str(), sizeof address.sun_path - 1);
        const auto *name = reinterpret_cast<const sockaddr *>(&address);
        const int listening = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        sender = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        if (::bind(listening, name, sizeof address) == 0 && ::listen(listening, 1) == 0 &&
            ::connect(sender, name, sizeof address) == 0) {
            receiver = ::accept4(listening, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        }
        ::close(listening);
        require(receiver >= 0, "connect to " + place.path());
    }
    ~fixture() {
        ::close(sender);
        ::close(receiver);
    }

    ssize_t pass() {
        ::send(sender, sent, sizeof sent, MSG_NOSIGNAL);
        return ::recv(receiver, received, sizeof received, 0);
    }
};

fixture &own() {
    static fixture it;
    return it;
}

std::string check() {
    fixture &f = own();
    return f.pass() == ssize_t{clock_message_width} && std::memcmp(f.sent, f.received, clock_message_width) == 0
               ? ""
               : "other bytes came";
}

void time_it(benchmark::State &state) {
    fixture &f = own();
    repeat(state, [&] { return f.pass(); });
}

const contender entry("socket_message", "raw bytes", check, {{"to handler", time_it}});

}  // namespace
}  // namespace bench
