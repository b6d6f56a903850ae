// A stream between machines.
//
// Each frame follows its length (4 bytes, network order). A length with its top bit set is no frame: it confirms that
// as many frames as the other bits say were delivered, so that each end knows how many a broken connection took along.
#include <errno.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <string.h>

#include <algorithm>

#include "frame.h"
#include "socket.h"

namespace vela::transport {
namespace {

constexpr u_int32 prefix = 4;
constexpr u_int32 confirmation = 0x80000000u;
constexpr u_int32 confirm_after = 32;  // frames; or when nothing more is there
constexpr size_t least_room = 64 * 1024;
constexpr int most_reads_at_once = 16;
constexpr int backlog = 64;

void set_option(int fd, int level, int option, int value) { setsockopt(fd, level, option, &value, sizeof value); }

// A peer that was switched off is noticed within half a minute, in whatever state the connection is.
void set_timeouts(int fd) {
    set_option(fd, IPPROTO_TCP, TCP_NODELAY, 1);
    set_option(fd, SOL_SOCKET, SO_KEEPALIVE, 1);
    set_option(fd, IPPROTO_TCP, TCP_KEEPIDLE, 10);
    set_option(fd, IPPROTO_TCP, TCP_KEEPINTVL, 5);
    set_option(fd, IPPROTO_TCP, TCP_KEEPCNT, 3);
    set_option(fd, IPPROTO_TCP, TCP_USER_TIMEOUT, 30'000);
}

class tcp_link : public peer_link {
  public:
    tcp_link(file_descriptor fd, const mechanism_options &options, bool is_established, std::string peer)
        : fd_(std::move(fd)),
          is_established_(is_established),
          max_message_(options.max_message),
          room_(std::max<size_t>(max_message_ + prefix, least_room)),
          buffer_(new u_int8[room_]),
          peer_(std::move(peer)) {
        set_timeouts(fd_.get());
    }

    int fd() const override { return fd_.get(); }
    const std::string &peer() const override { return peer_; }
    u_int32 unread() override { return in_flight_; }

    io establish(int &error) override {
        if (is_established_) {
            return io::done;
        }
        socklen_t size = sizeof error;
        if (getsockopt(fd_.get(), SOL_SOCKET, SO_ERROR, &error, &size) != 0 || error != 0) {
            return io::ended;
        }
        sockaddr_storage ends[2] = {};
        socklen_t sizes[2] = {sizeof ends[0], sizeof ends[1]};
        getsockname(fd_.get(), reinterpret_cast<sockaddr *>(&ends[0]), &sizes[0]);
        if (getpeername(fd_.get(), reinterpret_cast<sockaddr *>(&ends[1]), &sizes[1]) != 0) {
            return io::again;
        }
        // Where nobody listens on this machine, the system may choose the very port that is called.
        if (memcmp(&ends[0], &ends[1], sizeof ends[0]) == 0) {
            error = ECONNREFUSED;
            return io::ended;
        }
        is_established_ = true;
        return io::done;
    }

    io send(frame_view frame, u_int32 &progress, int &error) override {
        u_int8 head[prefix];
        store_u32(head, frame.length);
        u_int32 whole = prefix + frame.length;
        io result = finish_confirmation(error);
        while (result == io::done && progress < whole) {
            u_int32 of_head = std::min(progress, prefix);
            u_int32 of_frame = progress - of_head;
            iovec parts[] = {{head + of_head, prefix - of_head},
                             {const_cast<u_int8 *>(frame.bytes) + of_frame, frame.length - of_frame}};
            size_t sent = 0;
            result = send_parts(fd_.get(), parts, 2, sent, error);
            progress += static_cast<u_int32>(sent);
        }
        is_mid_frame_ = progress > 0 && progress < whole;
        in_flight_ += result == io::done ? 1 : 0;
        return result;
    }

    io receive(frame_view &frame, int &error) override {
        to_confirm_ += is_delivered_ ? 1 : 0;
        is_delivered_ = false;
        for (int reads = 0; reads < most_reads_at_once; ++reads) {
            if (take_frame(frame)) {
                return io::done;
            }
            make_room();
            size_t length = 0;
            io result = receive_bytes(fd_.get(), buffer_.get() + end_, room_ - end_, 0, length, error);
            if (result == io::again || to_confirm_ >= confirm_after) {
                confirm();
            }
            if (result != io::done) {
                return result;
            }
            end_ += length;
        }
        // What the last read brought may be the last that ever comes.
        return take_frame(frame) ? io::done : io::again;
    }

    bool holds_frame() const override {
        size_t skipped = std::min<size_t>(to_skip_, end_ - begin_);
        size_t length = end_ - begin_ - skipped;
        return length >= prefix && length - prefix >= (load_u32(buffer_.get() + begin_ + skipped) & ~confirmation);
    }

  private:
    // The next frame of the buffer, or the fault of one that is too long; false when more bytes are needed.
    bool take_frame(frame_view &frame) {
        for (;;) {
            size_t skipped = std::min<size_t>(to_skip_, end_ - begin_);
            begin_ += skipped;
            to_skip_ -= static_cast<u_int32>(skipped);
            if (to_skip_ > 0 || end_ - begin_ < prefix) {
                return false;
            }
            u_int32 word = load_u32(buffer_.get() + begin_);
            if ((word & confirmation) != 0) {
                in_flight_ -= std::min(in_flight_, word & ~confirmation);
                begin_ += prefix;
                continue;
            }
            if (word > max_message_) {
                begin_ += prefix;
                to_skip_ = word;
                frame = {nullptr, word, VELA_EMSGSIZE};
                is_delivered_ = true;  // the peer need not wait for it
                return true;
            }
            if (end_ - begin_ - prefix < word) {
                return false;
            }
            frame = {buffer_.get() + begin_ + prefix, word, 0};
            begin_ += prefix + word;
            is_delivered_ = true;
            return true;
        }
    }

    void make_room() {
        memmove(buffer_.get(), buffer_.get() + begin_, end_ - begin_);
        end_ -= begin_;
        begin_ = 0;
    }

    // Confirms what was delivered, unless a frame is half sent; a connection that breaks shows at the next receive.
    void confirm() {
        int ignored = 0;
        if (is_mid_frame_ || finish_confirmation(ignored) != io::done || to_confirm_ == 0) {
            return;
        }
        store_u32(confirmation_, confirmation | to_confirm_);
        confirmation_left_ = prefix;
        to_confirm_ = 0;
        finish_confirmation(ignored);
    }

    io finish_confirmation(int &error) {
        io result = io::done;
        while (result == io::done && confirmation_left_ > 0) {
            size_t sent = 0;
            const u_int8 *rest = confirmation_ + prefix - confirmation_left_;
            result = send_bytes(fd_.get(), rest, confirmation_left_, sent, error);
            confirmation_left_ -= static_cast<u_int32>(sent);
        }
        return result;
    }

    file_descriptor fd_;
    bool is_established_;
    u_int32 max_message_;
    size_t room_;
    std::unique_ptr<u_int8[]> buffer_;
    size_t begin_ = 0;  // of what was received and not taken
    size_t end_ = 0;
    u_int32 to_skip_ = 0;  // bytes of a frame that is too long
    bool is_mid_frame_ = false;
    bool is_delivered_ = false;  // the frame that receive() returned last, once it is called again
    u_int32 to_confirm_ = 0;
    u_int32 in_flight_ = 0;
    u_int8 confirmation_[prefix] = {};
    u_int32 confirmation_left_ = 0;
    std::string peer_;
};

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

// Reads "HOST:PORT". Names are not looked up, because that may take long.
bool parse_address(const std::string &text, tcp_address &result) {
    size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon + 1 == text.size()) {
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
    if (host.empty() || getaddrinfo(host.c_str(), text.c_str() + colon + 1, &hints, &found) != 0) {
        return false;
    }
    memcpy(&result.address, found->ai_addr, found->ai_addrlen);
    result.size = found->ai_addrlen;
    freeaddrinfo(found);
    return true;
}

class tcp_mechanism : public mechanism {
  public:
    tcp_mechanism(const tcp_address &address, const mechanism_options &options)
        : address_(address), options_(options) {}

    int listen(failure &why) override {
        file_descriptor fd = open_socket(address_.address.ss_family, SOCK_STREAM, options_, why);
        if (!fd) {
            return -1;
        }
        set_option(fd.get(), SOL_SOCKET, SO_REUSEADDR, 1);
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
        return std::make_unique<tcp_link>(std::move(fd), options_, true, text_of(peer));
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
        return std::make_unique<tcp_link>(std::move(fd), options_, false, text_of(address_));
    }

    std::string uri() const override { return "tcp:" + text_of(address_); }

  private:
    tcp_address address_;
    mechanism_options options_;
    file_descriptor listening_;
};

}  // namespace

std::unique_ptr<mechanism> make_tcp(const std::string &address, const mechanism_options &options, failure &why) {
    tcp_address parsed;
    if (!parse_address(address, parsed)) {
        why = {VELA_EINVAL, "'tcp:" + address +
                                "': expected a numeric address and a port, tcp:127.0.0.1:4711 or "
                                "tcp:[::1]:4711"};
        return nullptr;
    }
    return std::make_unique<tcp_mechanism>(parsed, options);
}

}  // namespace vela::transport
