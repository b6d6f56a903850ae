// Announce messages from packet sockets. Frames come from anybody: bounds first.
#include "agent/observe/announce_listener.h"

#include <arpa/inet.h>
#include <linux/filter.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>

#include "base/big_endian.h"
#include "base/clocks.h"

namespace ptp_agent {
namespace {

using base::load_big_endian;

constexpr std::uint16_t type_ptp = 0x88F7, type_ipv4 = 0x0800, type_ipv6 = 0x86DD, type_vlan = 0x8100,
                        type_service_vlan = 0x88A8;
constexpr std::uint16_t general_port = 320;
constexpr std::uint8_t protocol_udp = 17, announce_type = 0x0B;
constexpr std::size_t announce_length = 64;
/** Strangers do not decide how much is kept. */
constexpr std::size_t most_neighbours = 64;
constexpr int most_frames_at_once = 64;
/** A master qualifies when two of its messages came within four of its intervals (IEEE 1588-2008, 9.3.2.4.4). */
constexpr std::uint64_t window_intervals = 4;
constexpr std::uint16_t qualifying_count = 2;
/** It goes round in a circle (9.3.2.5 d). */
constexpr std::uint16_t too_many_steps = 255;

using Bytes = std::span<const std::uint8_t>;

/** What lies behind a header of `header` octets when the whole has `length`, as a header said; empty when that is a lie. */
Bytes between(Bytes whole, std::size_t header, std::size_t length) {
    return header <= length && length <= whole.size() ? whole.first(length).subspan(header) : Bytes();
}

/** What an IP packet carries when that is UDP, and the address it came from; empty for all else. */
Bytes behind_ip(Bytes packet, bool is_ipv6, std::string &address) {
    const std::size_t shortest = is_ipv6 ? 40 : 20;
    if (packet.size() < shortest || packet[0] >> 4 != (is_ipv6 ? 6 : 4)) {
        return {};
    }
    const std::size_t header = is_ipv6 ? 40 : std::size_t{packet[0] & 0x0Fu} * 4;
    const std::uint8_t protocol = is_ipv6 ? packet[6] : packet[9];
    const bool is_fragment = !is_ipv6 && (load_big_endian<std::uint16_t>(&packet[6]) & 0x3FFF) != 0;
    if (header < shortest || protocol != protocol_udp || is_fragment) {
        return {};
    }
    char text[INET6_ADDRSTRLEN] = "";
    inet_ntop(is_ipv6 ? AF_INET6 : AF_INET, &packet[is_ipv6 ? 8 : 12], text, sizeof text);
    address = text;
    const std::size_t said = load_big_endian<std::uint16_t>(&packet[is_ipv6 ? 4 : 2]);
    return between(packet, header, is_ipv6 ? header + said : said);
}

/** What a datagram for the general port carries. */
Bytes behind_udp(Bytes datagram) {
    constexpr std::size_t header = 8;
    if (datagram.size() < header || load_big_endian<std::uint16_t>(&datagram[2]) != general_port) {
        return {};
    }
    return between(datagram, header, load_big_endian<std::uint16_t>(&datagram[4]));
}

/**
 * Whether it is an Announce of PTP version 2 that is whole. Those with another sdoId than that of all profiles here, as
 * 802.1AS sends them, are of other clocks, whom the daemon does not hear either.
 */
bool is_announce(Bytes message) {
    if (message.size() < announce_length) {
        return false;
    }
    const std::size_t length = load_big_endian<std::uint16_t>(&message[2]);
    return message[0] == announce_type && (message[1] & 0x0F) == 2 && length >= announce_length &&
           length <= message.size();
}

/** The fields of an Announce message (IEEE 1588-2008, 13.3 and 13.5). */
std::optional<HeardAnnounce> read_announce(Bytes message) {
    if (!is_announce(message)) {
        return std::nullopt;
    }
    HeardAnnounce heard;
    heard.domain = message[4];
    heard.log_interval = static_cast<std::int8_t>(message[33]);
    ForeignMaster &master = heard.master;
    std::copy_n(&message[20], 8, master.sender.clock.begin());
    master.sender.port = load_big_endian<std::uint16_t>(&message[28]);
    master.grandmaster_priority1 = message[47];
    master.grandmaster_quality = {message[48], message[49], load_big_endian<std::uint16_t>(&message[50])};
    master.grandmaster_priority2 = message[52];
    std::copy_n(&message[53], 8, master.grandmaster.begin());
    master.steps_removed = load_big_endian<std::uint16_t>(&message[61]);
    return heard;
}

std::uint64_t interval_ns(std::int8_t log_interval) {
    const int exponent = std::clamp<int>(log_interval, -7, 7);
    return exponent < 0 ? 1'000'000'000u >> -exponent : 1'000'000'000ull << exponent;
}

/** Lets only PTP over Ethernet and UDP to the general port through, so that other traffic costs nothing. */
bool attach_filter(int socket) {
    // On the link layer: type at 12; of IPv4 the header's length decides where UDP is, of IPv6 it is fixed.
    static const sock_filter code[] = {
        {BPF_LD | BPF_H | BPF_ABS, 0, 0, 12},
        {BPF_JMP | BPF_JEQ | BPF_K, 10, 0, type_ptp},
        {BPF_JMP | BPF_JEQ | BPF_K, 9, 0, type_vlan},
        {BPF_JMP | BPF_JEQ | BPF_K, 0, 3, type_ipv6},
        {BPF_LD | BPF_H | BPF_ABS, 0, 0, 14 + 40 + 2},
        {BPF_JMP | BPF_JEQ | BPF_K, 6, 0, general_port},
        {BPF_JMP | BPF_JA, 0, 0, 4},
        {BPF_JMP | BPF_JEQ | BPF_K, 0, 3, type_ipv4},
        {BPF_LDX | BPF_B | BPF_MSH, 0, 0, 14},
        {BPF_LD | BPF_H | BPF_IND, 0, 0, 14 + 2},
        {BPF_JMP | BPF_JEQ | BPF_K, 1, 0, general_port},
        {BPF_RET | BPF_K, 0, 0, 0},
        {BPF_RET | BPF_K, 0, 0, 0x40000},
    };
    const sock_fprog program = {static_cast<unsigned short>(std::size(code)), const_cast<sock_filter *>(code)};
    return setsockopt(socket, SOL_SOCKET, SO_ATTACH_FILTER, &program, sizeof program) == 0;
}

base::file_descriptor packet_socket(int index) {
    base::file_descriptor made(socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!made || !attach_filter(made.get())) {
        return {};
    }
    sockaddr_ll address = {};
    address.sll_family = AF_PACKET;
    address.sll_protocol = htons(0x0003);  // every protocol
    address.sll_ifindex = index;
    return bind(made.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0
               ? std::move(made)
               : base::file_descriptor();
}

}  // namespace

std::optional<HeardAnnounce> parse_announce(std::span<const std::uint8_t> frame) {
    if (frame.size() < 14) {
        return std::nullopt;
    }
    std::array<std::uint8_t, 6> mac;
    std::copy_n(&frame[6], mac.size(), mac.begin());
    std::uint16_t type = load_big_endian<std::uint16_t>(&frame[12]);
    std::span<const std::uint8_t> rest = frame.subspan(14);
    if ((type == type_vlan || type == type_service_vlan) && rest.size() >= 4) {
        type = load_big_endian<std::uint16_t>(&rest[2]);
        rest = rest.subspan(4);
    }
    std::string address;
    if (type == type_ipv4 || type == type_ipv6) {
        rest = behind_udp(behind_ip(rest, type == type_ipv6, address));
    } else if (type != type_ptp) {
        return std::nullopt;
    }
    std::optional<HeardAnnounce> heard = read_announce(rest);
    if (heard) {
        heard->master.mac = mac;
        heard->master.address = address;
    }
    return heard;
}

void AnnounceListener::follow(Observation &found) {
    if (!is_wanted_ || !found.default_ds) {
        return;
    }
    if (domain_ != found.default_ds->domain) {
        domain_ = found.default_ds->domain;
        neighbours_.clear();
    }
    own_ = found.default_ds->identity;
    std::erase_if(sockets_, [&](const auto &entry) {
        const std::string &name = entry.first;
        const auto &listening = entry.second;
        const bool is_observed = std::any_of(found.ports.begin(), found.ports.end(), [&](const PortObservation &port) {
            return port.interface == name && port.number == listening->port;
        });
        return !is_observed || if_nametoindex(name.c_str()) != static_cast<unsigned>(listening->index);
    });
    for (const PortObservation &port : found.ports) {
        if (port.interface && !sockets_.contains(*port.interface)) {
            listen_on(port);
        }
    }
    const std::uint64_t now = base::clock_ns(CLOCK_MONOTONIC);
    std::erase_if(neighbours_, [now](const auto &entry) {
        return now > entry.second.last_ns + 2 * window_intervals * interval_ns(entry.second.log_interval);
    });
    found.foreign_masters.clear();
    for (const auto &[key, neighbour] : neighbours_) {
        found.foreign_masters.push_back(neighbour.master);
    }
}

void AnnounceListener::listen_on(const PortObservation &port) {
    const unsigned index = if_nametoindex(port.interface->c_str());
    base::file_descriptor socket = index == 0 ? base::file_descriptor() : packet_socket(static_cast<int>(index));
    if (!socket) {
        return;  // not allowed, or not there: tried again with the next observation
    }
    auto listening = std::make_unique<Listening>();
    listening->socket = std::move(socket);
    listening->port = port.number;
    listening->index = static_cast<int>(index);
    Listening *entry = listening.get();
    listening->readable =
        loop_.watch(listening->socket.get(), EPOLLIN, [this, entry](std::uint32_t) { receive(*entry); });
    sockets_[*port.interface] = std::move(listening);
}

void AnnounceListener::receive(Listening &listening) {
    std::uint8_t frame[256];
    for (int i = 0; i < most_frames_at_once; ++i) {
        sockaddr_ll from = {};
        socklen_t size = sizeof from;
        const ssize_t length =
            recvfrom(listening.socket.get(), frame, sizeof frame, 0, reinterpret_cast<sockaddr *>(&from), &size);
        if (length < 0) {
            return;
        }
        const bool is_own = from.sll_pkttype == PACKET_OUTGOING;
        const auto heard = is_own ? std::nullopt : parse_announce({frame, static_cast<std::size_t>(length)});
        if (heard && heard->domain == domain_ && heard->master.sender.clock != own_) {
            enter(*heard, listening.port, base::clock_ns(CLOCK_MONOTONIC));
        }
    }
}

void AnnounceListener::enter(const HeardAnnounce &heard, std::uint16_t port, std::uint64_t now_ns) {
    std::vector<std::uint8_t> identity(heard.master.sender.clock.begin(), heard.master.sender.clock.end());
    identity.push_back(static_cast<std::uint8_t>(heard.master.sender.port >> 8));
    identity.push_back(static_cast<std::uint8_t>(heard.master.sender.port));
    const auto key = std::pair(port, std::move(identity));
    if (!neighbours_.contains(key) && neighbours_.size() >= most_neighbours) {
        return;
    }
    Neighbour &neighbour = neighbours_[key];
    const std::uint64_t window = window_intervals * interval_ns(heard.log_interval);
    std::uint16_t previous = neighbour.master.previous_count, current = neighbour.master.current_count;
    if (neighbour.window_start_ns == 0 || now_ns >= neighbour.window_start_ns + 2 * window) {
        previous = current = 0;
        neighbour.window_start_ns = now_ns;
    } else if (now_ns >= neighbour.window_start_ns + window) {
        previous = current;
        current = 0;
        neighbour.window_start_ns += window;
    }
    neighbour.master = heard.master;
    neighbour.master.receiving_port = port;
    neighbour.master.previous_count = previous;
    neighbour.master.current_count = static_cast<std::uint16_t>(current + 1);
    neighbour.master.qualified =
        previous + current + 1 >= qualifying_count && heard.master.steps_removed < too_many_steps;
    neighbour.log_interval = heard.log_interval;
    neighbour.last_ns = now_ns;
}

}  // namespace ptp_agent
