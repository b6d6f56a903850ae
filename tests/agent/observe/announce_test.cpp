// Announce messages as neighbours send them, and as nobody should.
#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <sys/socket.h>

#include "agent/observe/announce_listener.h"
#include "base/file_descriptor.h"
#include "support/network.h"
#include "support/surroundings.h"

namespace ptp_agent {
namespace {

using Octets = std::vector<std::uint8_t>;

Octets operator+(Octets one, const Octets &other) {
    one.insert(one.end(), other.begin(), other.end());
    return one;
}

Octets number(std::size_t value) {
    return {static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value & 0xFF)};
}

/** Of a grandmaster with identity aa bb cc ff fe 00 00 `last`, two steps away. */
Octets announce(std::uint8_t last = 1, std::uint8_t domain = 24) {
    Octets message(64);
    message[0] = 0x0B;
    message[1] = 0x02;
    message[3] = 64;
    message[4] = domain;
    const Octets sender = {0xAA, 0xBB, 0xCC, 0xFF, 0xFE, 0, 0, last, 0, 7};
    std::copy(sender.begin(), sender.end(), message.begin() + 20);
    message[33] = 0xFD;  // eight a second
    const Octets body = {127, 6, 0x21, 0x4E, 0x5D, 129, 0xAA, 0xBB, 0xCC, 0xFF, 0xFE, 0, 0, 9, 0, 2, 0x20};
    std::copy(body.begin(), body.end(), message.begin() + 47);
    return message;
}

Octets ethernet(std::size_t type, const Octets &payload) {
    return Octets{1, 0x80, 0xC2, 0, 0, 0x0E, 2, 0, 0, 0, 0, 5} + number(type) + payload;
}

Octets udp(const Octets &payload, std::size_t port = 320, int wrong_by = 0) {
    return number(320) + number(port) + number(8 + payload.size() + static_cast<std::size_t>(wrong_by)) + number(0) +
           payload;
}

struct Ipv4 {
    std::uint8_t first = 0x45;
    std::size_t fragment = 0x4000;  // only the bit that forbids it
    std::uint8_t protocol = 17;
    int wrong_by = 0;
};

Octets ipv4(const Octets &payload, const Ipv4 &with = {}) {
    const std::size_t length = (with.first & 0x0Fu) * 4u;
    Octets header = Octets{with.first, 0} + number(length + payload.size() + static_cast<std::size_t>(with.wrong_by)) +
                    number(1) + number(with.fragment) + Octets{1, with.protocol, 0, 0, 192, 0, 2, 1, 224, 0, 1, 129};
    header.resize(std::max<std::size_t>(length, 20));
    return ethernet(0x0800, header + payload);
}

Octets ipv6(const Octets &payload, std::uint8_t first = 0x60, std::uint8_t next = 17, int wrong_by = 0) {
    const Octets source = {0x20, 1, 0xD, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    return ethernet(0x86DD, Octets{first, 0, 0, 0} + number(payload.size() + static_cast<std::size_t>(wrong_by)) +
                                Octets{next, 1} + source + source + payload);
}

Octets vlan(const Octets &frame, std::size_t type = 0x8100) {
    return Octets(frame.begin(), frame.begin() + 12) + number(type) + number(0x2064) +
           Octets(frame.begin() + 12, frame.end());
}

/** The message with some octets changed. */
Octets with(std::initializer_list<std::pair<std::size_t, std::uint8_t>> changes, Octets message = announce()) {
    for (const auto &[at, value] : changes) {
        message[at] = value;
    }
    return message;
}

/** From a master that is not forgotten soon: one in two seconds. */
Octets slow(std::uint8_t last, std::uint8_t domain = 24) { return with({{33, 1}}, announce(last, domain)); }

Octets layer2(const Octets &message) { return ethernet(0x88F7, message); }

TEST(Announce, IsReadFromEveryTransport) {
    const Octets path_trace = with({{3, 64 + 12}}) + Octets{0, 8, 0, 8, 1, 2, 3, 4, 5, 6, 7, 8};
    const std::tuple<const char *, Octets, std::string> rows[] = {
        {"Ethernet", layer2(announce()), ""},
        {"Ethernet, padded", layer2(announce() + Octets(40)), ""},
        {"Ethernet, with a TLV", layer2(path_trace), ""},
        {"Ethernet, version 2.1", layer2(with({{1, 0x12}})), ""},
        {"VLAN", vlan(layer2(announce())), ""},
        {"service VLAN", vlan(layer2(announce()), 0x88A8), ""},
        {"UDP over IPv4", ipv4(udp(announce())), "192.0.2.1"},
        {"UDP over IPv4 with options, padded", ipv4(udp(announce()), {.first = 0x47}) + Octets(9), "192.0.2.1"},
        {"UDP over IPv4 in a VLAN", vlan(ipv4(udp(announce()))), "192.0.2.1"},
        {"UDP over IPv6", ipv6(udp(announce())), "2001:db8::1"},
    };
    for (const auto &[what, frame, address] : rows) {
        const std::optional<HeardAnnounce> heard = parse_announce(frame);
        ASSERT_TRUE(heard) << what;
        const ForeignMaster &master = heard->master;
        EXPECT_EQ(master.address, address) << what;
        EXPECT_EQ(master.mac, (std::array<std::uint8_t, 6>{2, 0, 0, 0, 0, 5})) << what;
        EXPECT_EQ(master.sender, (PortIdentity{{0xAA, 0xBB, 0xCC, 0xFF, 0xFE, 0, 0, 1}, 7})) << what;
        EXPECT_EQ(master.grandmaster, (ClockIdentity{0xAA, 0xBB, 0xCC, 0xFF, 0xFE, 0, 0, 9})) << what;
        EXPECT_EQ(master.grandmaster_quality, (ClockQuality{6, 0x21, 0x4E5D})) << what;
        EXPECT_EQ(master.grandmaster_priority1, 127) << what;
        EXPECT_EQ(master.grandmaster_priority2, 129) << what;
        EXPECT_EQ(master.steps_removed, 2) << what;
        EXPECT_EQ(heard->domain, 24) << what;
        EXPECT_EQ(heard->log_interval, -3) << what;
    }
}

TEST(Announce, IsNotReadFromAnythingElse) {
    const Octets good = announce();
    const std::pair<const char *, Octets> rows[] = {
        {"another message type", layer2(with({{0, 0x00}}))},
        {"version 1", layer2(with({{1, 0x01}}))},
        {"version 3", layer2(with({{1, 0x03}}))},
        {"802.1AS", layer2(with({{0, 0x1B}}))},
        {"a length above what is there", layer2(with({{3, 65}}))},
        {"a length of 65535", layer2(with({{2, 0xFF}, {3, 0xFF}}))},
        {"a length too short for an Announce", layer2(with({{3, 63}}))},
        {"a length of nothing", layer2(with({{3, 0}}))},
        {"another EtherType", ethernet(0x88F8, good)},
        {"two VLAN tags", vlan(vlan(layer2(good)))},
        {"UDP to the event port", ipv4(udp(good, 319))},
        {"UDP that says it is longer", ipv4(udp(good, 320, 1))},
        {"UDP that says it is shorter", ipv4(udp(good, 320, -1))},
        {"UDP shorter than its header", ipv4(udp(good, 320, -71))},
        {"TCP", ipv4(udp(good), {.protocol = 6})},
        {"IPv4 that is version 6", ipv4(udp(good), {.first = 0x65})},
        {"IPv4 with a header of 16 octets", ipv4(udp(good), {.first = 0x44})},
        {"IPv4 with a header beyond its end", with({{14, 0x4F}}, ipv4(udp({})))},
        {"IPv4 that says it is longer", ipv4(udp(good), {.wrong_by = 1})},
        {"IPv4 that says it is shorter", ipv4(udp(good), {.wrong_by = -1})},
        {"IPv4 shorter than its header", ipv4(udp(good), {.wrong_by = -73})},
        {"the first of several fragments", ipv4(udp(good), {.fragment = 0x2000})},
        {"a later fragment", ipv4(udp(good), {.fragment = 0x0010})},
        {"IPv6 that is version 4", ipv6(udp(good), 0x45)},
        {"IPv6 with an extension", ipv6(udp(good), 0x60, 0)},
        {"IPv6 that says it is longer", ipv6(udp(good), 0x60, 17, 1)},
        {"IPv6 that says it is shorter", ipv6(udp(good), 0x60, 17, -1)},
        {"IPv6 of no length", ipv6(udp(good), 0x60, 17, -72)},
    };
    for (const auto &[what, frame] : rows) {
        EXPECT_FALSE(parse_announce(frame)) << what;
    }
    for (const Octets &whole : {layer2(good), vlan(layer2(good)), ipv4(udp(good)), ipv6(udp(good))}) {
        for (std::size_t length = 0; length < whole.size(); ++length) {
            // A copy of its own, so that a sanitizer sees what is read behind it.
            const Octets cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
            EXPECT_FALSE(parse_announce(cut)) << length << " of " << whole.size();
        }
    }
}

class Listener : public testing::Test {
  protected:
    void SetUp() override {
        const std::string why_not = test::enter_own_network();
        if (!why_not.empty()) {
            GTEST_SKIP() << why_not;
        }
        link_ = std::make_unique<test::Link>("heard", "speaks");
        socket_ = base::file_descriptor(socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, 0));
        now_.default_ds.emplace().domain = 24;
        now_.default_ds->identity = {0xAA, 0xBB, 0xCC, 0xFF, 0xFE, 0, 0, 0x50};
        now_.ports.resize(1);
        now_.ports[0].number = 1;
        now_.ports[0].interface = "heard";
        listener_.follow(now_);
        ASSERT_TRUE(listener_.is_allowed());
    }

    void send(const Octets &frame) {
        sockaddr_ll to = {};
        to.sll_family = AF_PACKET;
        to.sll_ifindex = static_cast<int>(if_nametoindex("speaks"));
        to.sll_halen = 6;
        ASSERT_EQ(sendto(socket_.get(), frame.data(), frame.size(), 0, reinterpret_cast<sockaddr *>(&to), sizeof to),
                  static_cast<ssize_t>(frame.size()));
    }

    /** Masters that were heard, by the last octet of their identities; with a mark where they are qualified. */
    std::vector<std::string> heard() {
        while (sd_event_run(loop_.get(), 0) > 0) {
        }
        listener_.follow(now_);
        std::vector<std::string> result;
        for (const ForeignMaster &master : now_.foreign_masters) {
            result.push_back(std::to_string(master.sender.clock[7]) + (master.qualified ? " qualified" : ""));
        }
        return result;
    }

    EventLoop loop_;
    AnnounceListener listener_{loop_, true};
    Observation now_;
    std::unique_ptr<test::Link> link_;
    base::file_descriptor socket_;
};

TEST_F(Listener, KnowsTheMastersOfItsDomainAlone) {
    send(layer2(slow(1)));
    send(ipv4(udp(slow(2))));
    send(ipv6(udp(slow(3))));
    send(layer2(slow(4, 25)));      // of another domain
    send(layer2(slow(0x50)));       // its own
    send(ipv4(udp(slow(5), 319)));  // the kernel's filter drops it
    send(layer2(with({{3, 99}}, slow(6))));
    EXPECT_THAT(heard(), testing::ElementsAre("1", "2", "3"));
    send(layer2(slow(1)));
    send(vlan(layer2(slow(2))));
    send(layer2(with({{61, 0}, {62, 255}}, slow(3))));  // goes round in a circle
    EXPECT_THAT(heard(), testing::ElementsAre("1 qualified", "2 qualified", "3"));
    now_.default_ds->domain = 25;
    send(layer2(slow(4, 25)));
    listener_.follow(now_);
    EXPECT_THAT(heard(), testing::ElementsAre("4"));
}

TEST_F(Listener, IsNotFilledUpByStrangers) {
    for (int i = 0; i < 200; ++i) {
        send(layer2(slow(static_cast<std::uint8_t>(i))));
        heard();
    }
    EXPECT_EQ(heard().size(), 64u);
}

TEST_F(Listener, ForgetsWhoIsGone) {
    send(layer2(announce()));
    EXPECT_THAT(heard(), testing::ElementsAre("1"));
    // Eight of their intervals of 125 ms without a word.
    EXPECT_TRUE(test::run_until(
        loop_, [this] { return heard().empty(); }, 3000));
}

}  // namespace
}  // namespace ptp_agent
