// Peers that mean harm, over real sockets: what they cost is bounded, and who behaves is served meanwhile.
#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/un.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "channel_end.h"

namespace {

using test::bytes;
using test::channel_end;
using test::make_message;
using test::process_until;

/** A socket of an attacker's, which knows nothing of channels. */
class raw_socket {
  public:
    explicit raw_socket(const std::string &uri) {
        sockaddr_in inet = {};
        sockaddr_un local = {};
        if (uri.starts_with("tcp:")) {
            inet.sin_family = AF_INET;
            inet.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
            inet.sin_port = htons(static_cast<uint16_t>(std::stoi(uri.substr(uri.rfind(':') + 1))));
            fd_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
            connect(fd_, reinterpret_cast<sockaddr *>(&inet), sizeof inet);
        } else {
            local.sun_family = AF_UNIX;
            uri.copy(local.sun_path, sizeof local.sun_path - 1, sizeof "unix:" - 1);
            fd_ = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
            connect(fd_, reinterpret_cast<sockaddr *>(&local), sizeof local);
        }
    }
    raw_socket(raw_socket &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    raw_socket(const raw_socket &) = delete;
    raw_socket &operator=(raw_socket &&other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~raw_socket() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    /** Bytes that the system took. */
    size_t write(const bytes &what) const {
        const ssize_t count = send(fd_, what.data(), what.size(), MSG_NOSIGNAL);
        return count < 0 ? 0 : static_cast<size_t>(count);
    }
    bool has_ended() const {
        u_int8 byte = 0;
        ssize_t count = 0;
        while ((count = recv(fd_, &byte, 1, 0)) > 0) {
        }
        return count == 0 || (errno != EAGAIN && errno != ENOTCONN);
    }

  private:
    int fd_ = -1;
};

size_t open_descriptors() {
    return static_cast<size_t>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
}

/** Of memory that the process has in use, in bytes. */
size_t resident() {
    size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages >> pages;
    return pages * static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

bytes in_a_frame(const bytes &message) {
    bytes frame(4);
    test::put_u32(frame, 0, static_cast<u_int32>(message.size()));
    frame.insert(frame.end(), message.begin(), message.end());
    return frame;
}

class Attack : public testing::TestWithParam<const char *> {
  protected:
    std::string listen_uri() const { return GetParam() == std::string("unix") ? folder.uri() : "tcp:127.0.0.1:0"; }

    /** A peer that behaves: sends, and expects that it arrives whatever else goes on. */
    void expect_served(channel_end &server, channel_end &peer, u_int8 mark) {
        const size_t before = server.received.size();
        ASSERT_EQ(peer.send(make_message(mark, 10)), 0u);
        ASSERT_TRUE(process_until({&server, &peer}, [&] { return server.received.size() > before; }));
        EXPECT_EQ(server.received.back(), make_message(mark, 10));
    }

    test::temporary_folder folder;
};

INSTANTIATE_TEST_SUITE_P(Mechanisms, Attack, testing::Values("unix", "tcp"),
                         [](const auto &info) { return std::string(info.param); });

TEST_P(Attack, ThousandsOfConnectionsTakeNoMoreThanThePlacesThereAre) {
    channel_end server(&vela_channel_listen, listen_uri());  // with all limits as they are by default
    channel_end peer(&vela_channel_connect, server.uri());
    expect_served(server, peer, 1);
    const size_t descriptors = open_descriptors();
    constexpr u_int32 flood = 3000, kept = 150, places = 64;
    std::vector<raw_socket> attackers;
    for (u_int32 i = 0; i < flood; ++i) {
        attackers.emplace_back(server.uri());
        server.process();
        if (attackers.size() > kept) {
            attackers.erase(attackers.begin());
        }
        EXPECT_LE(server.statistics().peers, places);
        if (i % 500 == 0) {
            expect_served(server, peer, static_cast<u_int8>(i / 500));
        }
    }
    EXPECT_LE(open_descriptors(), descriptors + kept + 1 + places);
    EXPECT_EQ(peer.statistics().disconnects, 0u) << "who has shown itself keeps its place";
    attackers.clear();
    ASSERT_TRUE(process_until({&server}, [&] { return server.statistics().peers == 1; }));
    channel_end newcomer(&vela_channel_connect, server.uri());
    expect_served(server, newcomer, 77);
}

TEST_P(Attack, AnnouncedLengthsTakeNoMemoryAndSilenceNoPlace) {
    vela_channel_options options = {};
    options.idle_ms = 200;
    options.max_message = 16 << 20;
    options.socket_buffer = 1 << 20;
    channel_end server(&vela_channel_listen, listen_uri(), options);
    channel_end peer(&vela_channel_connect, server.uri());
    expect_served(server, peer, 1);
    const size_t before = resident();
    std::vector<raw_socket> attackers;
    for (int i = 0; i < 63; ++i) {
        attackers.emplace_back(server.uri());
        server.process();
        // The first part of a message of 16 MiB less a byte, in either form.
        attackers.back().write(GetParam() == std::string("unix") ? bytes{0x01, 0x00, 0xFF, 0xFF, 0xFF, 0xBC}
                                                                 : bytes{0x00, 0xFF, 0xFF, 0xFF, 0xBC});
        server.process();
    }
    ASSERT_TRUE(process_until({&server}, [&] { return server.statistics().peers == 64; }));
    EXPECT_LT(resident(), before + (64u << 20)) << "a gigabyte was announced";
    vela_channel_options quick = {};
    quick.reconnect_most_ms = 50;
    channel_end newcomer(&vela_channel_connect, server.uri(), quick);
    ASSERT_TRUE(process_until({&server, &newcomer}, [&] {
        if (newcomer.statistics().queued == 0 && server.received.size() == 1) {
            newcomer.send(make_message(2, 0));
        }
        return server.received.size() > 1;
    })) << "whoever announces without an end makes room";
    EXPECT_EQ(peer.statistics().disconnects, 0u);
}

TEST_P(Attack, AByteAtATimeHoldsUpNobody) {
    channel_end server(&vela_channel_listen, listen_uri());
    channel_end peer(&vela_channel_connect, server.uri());
    const raw_socket slow(server.uri());
    const bytes frame = in_a_frame(make_message(0xEE, 40));
    for (size_t i = 0; i + 1 < frame.size(); ++i) {
        ASSERT_EQ(slow.write({frame[i]}), 1u);
        expect_served(server, peer, static_cast<u_int8>(i));
    }
    ASSERT_EQ(slow.write({frame.back()}), 1u);
    if (GetParam() == std::string("tcp")) {  // where it makes up a message in the end
        ASSERT_TRUE(process_until({&server}, [&] { return server.received.back() == make_message(0xEE, 40); }));
    } else {
        ASSERT_TRUE(process_until({&server}, [&] { return server.statistics().dropped == frame.size(); }));
    }
}

TEST_P(Attack, WhoNeverReadsCostsOneQueueAndNobodyElseAMessage) {
    vela_channel_options options = {};
    options.queue_bytes = 1 << 20;
    options.max_message = 64 << 10;
    options.socket_buffer = 64 << 10;
    channel_end server(&vela_channel_listen, listen_uri(), options);
    channel_end peer(&vela_channel_connect, server.uri(), options);
    const raw_socket deaf(server.uri());
    ASSERT_TRUE(process_until({&server, &peer}, [&] { return server.statistics().peers == 2; }));
    const size_t before = resident();
    constexpr u_int32 count = 500;
    for (u_int32 i = 0; i < count; ++i) {
        ASSERT_EQ(server.send(make_message(static_cast<u_int8>(i), 60'000)), 0u);
        ASSERT_TRUE(process_until({&peer, &server}, [&] { return peer.received.size() == i + 1; }));
        peer.received[i].clear();
        peer.received[i].shrink_to_fit();
    }
    EXPECT_GT(server.statistics().lost, count / 2) << "30 MB do not fit into the queue of the deaf one";
    EXPECT_LT(resident(), before + (16u << 20));
    EXPECT_FALSE(deaf.has_ended());
}

}  // namespace
