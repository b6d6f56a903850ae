// Sequenced packets between the processes of one machine.
//
// A frame is one packet. The system wants contiguous memory for long packets, so a long frame travels as several, told
// by their first byte, which no bundle or message begins with: `first_part`, the frame's length (4 bytes), bytes;
// then as often as needed `next_part`, bytes. Parts of two frames never mix. A packet of the one byte `refusal` says that
// there is no place for the peer.
#include <errno.h>
#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/un.h>

#include <algorithm>
#include <vector>

#include "frame.h"
#include "socket.h"
#include "unix_path.h"

namespace vela::transport {
namespace {

constexpr u_int8 first_part = 0x01;
constexpr u_int8 next_part = 0x02;
constexpr u_int8 refusal = 0x03;
constexpr size_t most_packet = 64 * 1024;
constexpr u_int32 look_after = 16;        // frames sent, before the system is asked whether they were read
constexpr u_int32 look_every = 256;       // the same while nothing is received
constexpr int least_packet_memory = 256;  // bytes that the system counts for a packet, however short it is
constexpr int most_packets_at_once = 64;  // parts of a frame, before others have their turn

// What one packet may hold. The system refuses a packet that exceeds its buffer.
size_t packet_room(int fd) {
    int buffer = 0;
    socklen_t size = sizeof buffer;
    getsockopt(fd, SOL_SOCKET, SO_SNDBUF, &buffer, &size);
    size_t least = 1024;
    return std::clamp(static_cast<size_t>(std::max(buffer, 0)) / 2, least, most_packet);
}

class unix_link : public peer_link {
  public:
    unix_link(file_descriptor fd, const backend_options &options, bool is_caller, std::string peer)
        : fd_(std::move(fd)),
          packet_room_(packet_room(fd_.get())),
          max_message_(options.max_message),
          is_caller_(is_caller),
          room_(std::max<size_t>(max_message_, most_packet)),
          buffer_(new u_int8[room_]),
          peer_(std::move(peer)) {}

    int fd() const override { return fd_.get(); }
    const std::string &peer() const override { return peer_; }

    io send(frame_view frame, u_int32 &progress, int &error) override {
        io result = io::done;
        if (frame.length <= packet_room_) {
            size_t sent = 0;
            result = send_bytes(fd_.get(), frame.bytes, frame.length, sent, error);
        } else {
            while (result == io::done && progress < frame.length) {
                result = send_next_part(frame, progress, error);
            }
        }
        if (result == io::done && ++in_flight_ % look_every == 0) {
            forget_read_frames();
        }
        was_reset_ |= result == io::ended && error == ECONNRESET;
        return result;
    }

    io receive(frame_view &frame, int &error) override {
        for (int packets = 0; packets < most_packets_at_once; ++packets) {
            size_t length = 0;
            io result = receive_bytes(fd_.get(), buffer_.get(), room_, MSG_TRUNC, length, error);
            if (result == io::ended && error == ECONNRESET) {
                was_reset_ = true;  // but what the peer had sent before is still there
                continue;
            }
            if (result != io::done) {
                if (in_flight_ >= look_after) {
                    forget_read_frames();
                }
                error = result == io::ended && was_reset_ ? ECONNRESET : error;
                return result;
            }
            if (is_caller_ && length == 1 && buffer_[0] == refusal) {
                error = EAGAIN;
                return io::ended;
            }
            if (take_packet(length, frame)) {
                return io::done;
            }
        }
        return io::again;
    }

    // A peer that ends with packets left to read resets the connection; one that has read all closes it.
    u_int32 unread() override { return was_reset_ ? in_flight_ : 0; }
    u_int32 unconfirmed() override {
        forget_read_frames();
        return in_flight_;
    }

    // The peer reads what is there before it sees the end, and answers that with its own.
    bool finish_output() override {
        shutdown(fd_.get(), SHUT_WR);
        return true;
    }

    void refuse() override {
        size_t sent = 0;
        int ignored = 0;
        send_bytes(fd_.get(), &refusal, sizeof refusal, sent, ignored);
    }

  private:
    io send_next_part(frame_view frame, u_int32 &progress, int &error) {
        u_int8 head[5] = {first_part};
        store_u32(head + 1, frame.length);
        size_t head_size = sizeof head;
        if (progress > 0) {
            head[0] = next_part;
            head_size = 1;
        }
        size_t size = std::min<size_t>(frame.length - progress, packet_room_ - head_size);
        iovec parts[] = {{head, head_size}, {const_cast<u_int8 *>(frame.bytes) + progress, size}};
        size_t sent = 0;
        io result = send_parts(fd_.get(), parts, 2, sent, error);
        if (result == io::done) {
            progress += static_cast<u_int32>(size);
        }
        return result;
    }

    // True with a frame, or with a frame's fault; false when more parts are needed.
    bool take_packet(size_t length, frame_view &frame) {
        const u_int8 *bytes = buffer_.get();
        if (length > room_) {
            frame = {nullptr, static_cast<u_int32>(length), VELA_EMSGSIZE};
            return true;
        }
        if (bytes[0] == first_part && length > 5) {
            return start_parts(bytes, length, frame);
        }
        if (bytes[0] == next_part) {
            return add_part(bytes + 1, length - 1, frame);
        }
        frame = {bytes, static_cast<u_int32>(length), 0};
        return true;
    }

    bool start_parts(const u_int8 *bytes, size_t length, frame_view &frame) {
        parts_.clear();
        missing_ = load_u32(bytes + 1);
        skips_parts_ = missing_ > max_message_;
        if (skips_parts_) {
            frame = {nullptr, missing_, VELA_EMSGSIZE};
            return true;
        }
        parts_.reserve(missing_);
        return add_part(bytes + 5, length - 5, frame);
    }

    bool add_part(const u_int8 *bytes, size_t length, frame_view &frame) {
        if (skips_parts_) {
            return false;
        }
        if (missing_ == 0 || length > missing_) {
            frame = {nullptr, static_cast<u_int32>(length), VELA_EINVAL};
            missing_ = 0;
            return true;
        }
        parts_.insert(parts_.end(), bytes, bytes + length);
        missing_ -= static_cast<u_int32>(length);
        frame = {parts_.data(), static_cast<u_int32>(parts_.size()), 0};
        return missing_ == 0;
    }

    // The system tells the memory of the packets that the peer has not read: none, or at most so many.
    void forget_read_frames() {
        int bytes = 0;
        if (in_flight_ > 0 && !was_reset_ && ioctl(fd_.get(), SIOCOUTQ, &bytes) == 0) {
            const int packets = (bytes + least_packet_memory - 1) / least_packet_memory;
            in_flight_ = std::min(in_flight_, static_cast<u_int32>(packets));
        }
    }

    file_descriptor fd_;
    size_t packet_room_;
    u_int32 max_message_;
    bool is_caller_;
    size_t room_;
    std::unique_ptr<u_int8[]> buffer_;
    std::string peer_;
    u_int32 in_flight_ = 0;
    bool was_reset_ = false;
    std::vector<u_int8> parts_;  // of a frame that is not complete
    u_int32 missing_ = 0;
    bool skips_parts_ = false;
};

// Whether the process at the other end may be a peer. Fills `peer` with a name for it.
bool is_welcome(int fd, const backend_options &options, std::string &peer, failure &why) {
    ucred credentials = {};
    socklen_t size = sizeof credentials;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) {
        why = system_failure(errno, "no credentials of the peer");
        return false;
    }
    peer = "process " + std::to_string(credentials.pid) + " of user " + std::to_string(credentials.uid);
    if (!options.allow_other_users && credentials.uid != geteuid()) {
        why = {EACCES, peer + " turned away: only user " + std::to_string(geteuid()) + " is allowed"};
        return false;
    }
    return true;
}

class unix_backend : public backend {
  public:
    unix_backend(const std::string &path, const backend_options &options) : path_(path), options_(options) {}

    int listen(failure &why) override {
        listening_ = open_socket(AF_UNIX, SOCK_SEQPACKET, options_, why);
        if (listening_ && !place_.claim(listening_.get(), path_, options_.socket_mode, why)) {
            listening_ = file_descriptor();
        }
        return listening_.get();
    }

    std::unique_ptr<peer_link> accept(failure &why) override {
        return make_link(accept_socket(listening_.get(), options_, why), false, why);
    }

    std::unique_ptr<peer_link> connect(failure &why) override {
        file_descriptor fd = open_socket(AF_UNIX, SOCK_SEQPACKET, options_, why);
        sockaddr_un address = unix_address(path_);
        if (fd && ::connect(fd.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
            why = system_failure(errno, "no connection to " + uri());
            return nullptr;
        }
        return make_link(std::move(fd), true, why);
    }

    std::string uri() const override { return "unix:" + path_; }

  private:
    std::unique_ptr<peer_link> make_link(file_descriptor fd, bool is_caller, failure &why) {
        std::string peer;
        if (!fd || !is_welcome(fd.get(), options_, peer, why)) {
            return nullptr;
        }
        return std::make_unique<unix_link>(std::move(fd), options_, is_caller, std::move(peer));
    }

    std::string path_;
    backend_options options_;
    file_descriptor listening_;
    socket_file place_;
};

}  // namespace

std::unique_ptr<backend> make_unix(const std::string &path, const backend_options &options, failure &why) {
    if (path.size() >= sizeof(sockaddr_un::sun_path)) {
        why = {ENAMETOOLONG, "unix:" + path + ": the path of a socket has at most " +
                                 std::to_string(sizeof(sockaddr_un::sun_path) - 1) + " characters"};
        return nullptr;
    }
    return std::make_unique<unix_backend>(path, options);
}

}  // namespace vela::transport
