// Frames of the transports: a stranger writes what it likes to the listening or the connecting end of a real channel, in
// pieces of its choice.
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <memory>

#include "files.h"
#include "targets.h"
#include "vela_bundle.h"
#include "vela_transport.h"

namespace fuzz {
namespace {

constexpr u_int32 max_message = 4096;
constexpr u_int32 tcp_prefix = 4;

/** A transport as a stranger speaks it. */
struct stranger {
    const char *scheme;
    int type;
    bool is_tcp;
};
constexpr stranger over_unix = {"unix:", SOCK_SEQPACKET, false};
constexpr stranger over_tcp = {"tcp:", SOCK_STREAM, true};

union any_address {
    sockaddr common;
    sockaddr_un unix_path;
    sockaddr_in ip;
};

/** Where a URI points: unix:PATH or tcp:127.0.0.1:PORT. */
socklen_t address_of(const std::string &uri, any_address &address) {
    std::memset(&address, 0, sizeof address);
    if (uri.starts_with("unix:")) {
        address.unix_path.sun_family = AF_UNIX;
        std::memcpy(address.unix_path.sun_path, uri.data() + 5, uri.size() - 5);
        return sizeof address.unix_path;
    }
    address.ip.sin_family = AF_INET;
    address.ip.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.ip.sin_port = htons(static_cast<in_port_t>(std::stoul(uri.substr(uri.rfind(':') + 1))));
    return sizeof address.ip;
}

/** Closed at once and without a trace in the system, so that millions follow each other. */
void end_abruptly(int fd) {
    constexpr linger at_once = {1, 0};
    setsockopt(fd, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
    close(fd);
}

u_int64 delivered;

/** A handle for the channels' handlers, which have none of it. */
vela_handle *any_handle() { return handle_of(handle_kind(0)); }

void deliver(vela_handle *, u_int32, const u_int8 *bundle, u_int32 length, void *) {
    ++delivered;
    octets copy(bundle, bundle + length);
    require(length >= VELA_BUNDLE_HEADER && length <= max_message, "a frame of a length that cannot be");
}

vela_channel_options options() {
    gable_bundle_handler_register(deliver);
    vela_channel_options result = {};
    result.size = sizeof result;
    result.max_message = max_message;
    result.event = [](void *, vela_channel *, const vela_channel_event *event) {
        octets copy(event->bytes, event->bytes + (event->bytes != nullptr ? event->length : 0));
        require(std::strlen(event->text) > 0, "an event without a text");
    };
    return result;
}

void process(vela_channel *channel) {
    u_int32 err = 0;
    vela_channel_process(channel, any_handle(), mem_class, nullptr, 0, &err);
    require(err == 0, "a channel fails because of what a peer sent");
}

/** Writes each piece of the input, and lets the channel look at it. */
void write_pieces(int fd, input &in, vela_channel *channel) {
    for (int pieces = 0; !in.is_empty() && pieces < 64; ++pieces) {
        const std::span<const u_int8> piece = in.take(in.word());
        static_cast<void>(send(fd, piece.data(), piece.size(), MSG_NOSIGNAL | MSG_DONTWAIT));
        process(channel);
    }
}

void talk_to_listener(const stranger &as, vela_channel *channel, input &in) {
    any_address address;
    const socklen_t size = address_of(vela_channel_uri(channel), address);
    const int fd = socket(address.common.sa_family, as.type | SOCK_CLOEXEC, 0);
    require(fd >= 0 && connect(fd, &address.common, size) == 0, "the channel does not listen any more");
    process(channel);
    write_pieces(fd, in, channel);
    end_abruptly(fd);
    vela_channel_statistics now = {};
    for (int turns = 0; turns < 1000; ++turns) {
        process(channel);
        vela_channel_get_statistics(channel, &now);
        if (now.peers == 0) {
            return;
        }
        vela_channel_wait(channel, 1);
    }
    fail("a peer that has gone stays");
}

/** A listening socket of the stranger's, which programs connect to. */
struct raw_listener {
    int fd;
    std::string uri;
    explicit raw_listener(const stranger &as) {
        const std::string own = std::string(as.scheme) + (as.is_tcp ? "127.0.0.1:0" : folder() + "/raw");
        any_address address;
        socklen_t size = address_of(own, address);
        fd = socket(address.common.sa_family, as.type | SOCK_CLOEXEC, 0);
        if (!as.is_tcp) {
            unlink(address.unix_path.sun_path);
        }
        require(bind(fd, &address.common, size) == 0 && listen(fd, 4) == 0, "no socket to listen at");
        getsockname(fd, &address.common, &size);
        uri = as.is_tcp ? "tcp:127.0.0.1:" + std::to_string(ntohs(address.ip.sin_port)) : own;
    }
};

void talk_to_caller(const stranger &as, input &in) {
    static const raw_listener over[] = {raw_listener(over_unix), raw_listener(over_tcp)};
    const raw_listener &listener = over[as.is_tcp ? 1 : 0];
    const vela_channel_options wanted = options();
    u_int32 err = 0;
    vela_channel *channel = vela_channel_connect("gable", listener.uri.c_str(), &wanted, nullptr, 0, &err);
    require(channel != nullptr, "no channel to connect by");
    const int fd = accept4(listener.fd, nullptr, nullptr, SOCK_CLOEXEC);
    require(fd >= 0, "the channel does not connect");
    process(channel);
    write_pieces(fd, in, channel);
    end_abruptly(fd);
    process(channel);
    process(channel);
    vela_channel_close(channel, nullptr);
}

vela_channel *listening(const stranger &as) {
    static vela_channel *channels[2];
    vela_channel *&channel = channels[as.is_tcp ? 1 : 0];
    if (channel == nullptr) {
        const vela_channel_options wanted = options();
        const std::string uri = std::string(as.scheme) + (as.is_tcp ? "127.0.0.1:0" : folder() + "/socket");
        char why[256];
        u_int32 err = 0;
        channel = vela_channel_listen("gable", uri.c_str(), &wanted, why, sizeof why, &err);
        require(channel != nullptr, "no channel", why);
        static std::unique_ptr<vela_channel, void (*)(vela_channel *)> at_the_end[2] = {
            {nullptr, [](vela_channel *) {}}, {nullptr, [](vela_channel *) {}}};
        at_the_end[as.is_tcp ? 1 : 0] = {channel, [](vela_channel *it) { vela_channel_close(it, nullptr); }};
    }
    return channel;
}

void run_channel(const stranger &as, input in) {
    if ((in.octet() & 1) != 0) {
        talk_to_caller(as, in);
    } else {
        talk_to_listener(as, listening(as), in);
    }
    require_nothing_left(any_handle(), "a channel");
}

/** Some messages as pieces of a length each; over TCP behind their lengths. */
octets make_pieces(bool is_tcp, u_int64 number) {
    octets result = {static_cast<u_int8>(number)};
    for (u_int64 i = 0; i <= number % 3; ++i) {
        octets frame = encoding_of(messages()[(number / 3 + i) % messages().size()], number, 0);
        if (is_tcp) {
            const u_int32 length = static_cast<u_int32>(frame.size());
            frame.insert(frame.begin(), {0, 0, static_cast<u_int8>(length >> 8), static_cast<u_int8>(length)});
            static_assert(tcp_prefix == 4);
        }
        result.push_back(static_cast<u_int8>(frame.size()));
        result.push_back(static_cast<u_int8>(frame.size() >> 8));
        result.insert(result.end(), frame.begin(), frame.end());
    }
    return result;
}

}  // namespace

void run_unix_channel(input in) { run_channel(over_unix, in); }
octets make_unix_channel(u_int64 number) { return make_pieces(false, number); }
void run_tcp_channel(input in) { run_channel(over_tcp, in); }
octets make_tcp_channel(u_int64 number) { return make_pieces(true, number); }

}  // namespace fuzz
