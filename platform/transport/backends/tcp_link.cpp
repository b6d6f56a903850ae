// A stream between machines, as one of its ends sees it.
//
// Each frame follows its length (4 bytes, network order). A length with its top bit set is no frame: it confirms that
// as many frames as the other bits say were delivered, so that each end knows how many a broken connection took along.
// A length with all bits set says that there is no place for the peer.
#include "tcp_link.h"

#include <errno.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <string.h>

#include <algorithm>

#include "base/clocks.h"
#include "frame.h"
#include "socket.h"

namespace vela::transport {
namespace {

constexpr u_int32 prefix = 4;
constexpr u_int32 confirmation = 0x80000000u;
constexpr u_int32 refusal = 0xFFFFFFFFu;
constexpr u_int32 confirm_after = 32;      // frames; or when nothing more is there
constexpr u_int64 confirm_after_ms = 100;  // ... or when handling them takes long
constexpr size_t least_room = 64 * 1024;
constexpr int most_reads_at_once = 16;

// Cheap enough to be asked for each frame, and a few milliseconds late.
u_int64 coarse_now_ms() { return base::clock_ms(CLOCK_MONOTONIC_COARSE); }

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
    tcp_link(file_descriptor fd, const backend_options &options, bool is_established, std::string peer)
        : fd_(std::move(fd)),
          is_established_(is_established),
          max_message_(options.max_message),
          room_(std::max<size_t>(max_message_ + prefix, least_room)),
          buffer_(new u_int8[room_]),
          is_caller_(!is_established),
          peer_(std::move(peer)) {
        set_timeouts(fd_.get());
    }

    int fd() const override { return fd_.get(); }
    const std::string &peer() const override { return peer_; }
    u_int32 unread() override { return in_flight_; }
    u_int32 unconfirmed() override { return in_flight_; }

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
        note_delivered();
        if (to_confirm_ > 0 && coarse_now_ms() - confirmed_at_ms_ >= confirm_after_ms) {
            confirm();
        }
        for (int reads = 0; reads < most_reads_at_once; ++reads) {
            if (take_frame(frame)) {
                return io::done;
            }
            if (is_refused_) {
                error = EAGAIN;
                return io::ended;
            }
            io result = read_on(error);
            if (result != io::done || to_confirm_ >= confirm_after) {
                confirm();
            }
            if (result != io::done) {
                return result;
            }
        }
        // What the last read brought may be the last that ever comes.
        return take_frame(frame) ? io::done : io::again;
    }

    // Once the peer has confirmed everything, what it had sent before that is here and confirmed as well: neither end
    // then takes for unread what was read.
    bool finish_output() override {
        if (in_flight_ > 0) {
            return false;
        }
        note_delivered();
        confirm();
        return confirmation_left_ == 0 && shutdown(fd_.get(), SHUT_WR) == 0;
    }

    // A connection that is closed while something is left to read is reset, and the system then drops what it has yet to
    // send. What has come is therefore read; the confirmations count, the frames are taken by nobody.
    u_int32 leave() override {
        note_delivered();
        confirm();
        int ignored = 0;
        frame_view frame;
        for (int reads = 0; reads < most_reads_at_once; ++reads) {
            while (take_frame(frame)) {
            }
            if (read_on(ignored) != io::done) {
                break;
            }
        }
        shutdown(fd_.get(), SHUT_WR);
        return in_flight_;
    }

    void refuse() override {
        u_int8 word[prefix];
        store_u32(word, refusal);
        size_t sent = 0;
        int ignored = 0;
        send_bytes(fd_.get(), word, sizeof word, sent, ignored);
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
            if (word == refusal && is_caller_) {
                is_refused_ = true;
                return false;
            }
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

    io read_on(int &error) {
        memmove(buffer_.get(), buffer_.get() + begin_, end_ - begin_);
        end_ -= begin_;
        begin_ = 0;
        size_t length = 0;
        io result = receive_bytes(fd_.get(), buffer_.get() + end_, room_ - end_, 0, length, error);
        end_ += result == io::done ? length : 0;
        return result;
    }

    void note_delivered() {
        to_confirm_ += is_delivered_ ? 1 : 0;
        is_delivered_ = false;
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
        confirmed_at_ms_ = coarse_now_ms();
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
    bool is_caller_;
    bool is_refused_ = false;
    u_int32 to_confirm_ = 0;
    u_int64 confirmed_at_ms_ = 0;
    u_int32 in_flight_ = 0;
    u_int8 confirmation_[prefix] = {};
    u_int32 confirmation_left_ = 0;
    std::string peer_;
};

}  // namespace

std::unique_ptr<peer_link> make_tcp_link(file_descriptor fd, const backend_options &options, bool is_established,
                                         std::string peer) {
    return std::make_unique<tcp_link>(std::move(fd), options, is_established, std::move(peer));
}

}  // namespace vela::transport
