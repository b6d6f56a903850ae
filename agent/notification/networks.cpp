// Addresses and networks as 128-bit prefixes.
#include "agent/notification/networks.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <stdexcept>

namespace ptp_agent::notification {
namespace {

constexpr std::array<std::uint8_t, 12> mapped{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};

bool is_ipv4(const Address &address) { return std::equal(mapped.begin(), mapped.end(), address.begin()); }

Address from_ipv4(const in_addr &ipv4) {
    Address address{};
    std::copy(mapped.begin(), mapped.end(), address.begin());
    std::memcpy(address.data() + mapped.size(), &ipv4, sizeof ipv4);
    return address;
}

bool share_prefix(const Address &left, const Address &right, unsigned bits) {
    const unsigned whole = bits / 8;
    if (std::memcmp(left.data(), right.data(), whole) != 0) {
        return false;
    }
    const unsigned rest = bits % 8;
    return rest == 0 || ((left[whole] ^ right[whole]) >> (8 - rest)) == 0;
}

}  // namespace

std::optional<Address> address_from_text(const std::string &text) {
    in_addr ipv4{};
    if (inet_pton(AF_INET, text.c_str(), &ipv4) == 1) {
        return from_ipv4(ipv4);
    }
    Address address{};
    if (inet_pton(AF_INET6, text.c_str(), address.data()) == 1) {
        return address;
    }
    return std::nullopt;
}

std::optional<Address> address_from_socket(const sockaddr &socket) {
    if (socket.sa_family == AF_INET) {
        return from_ipv4(reinterpret_cast<const sockaddr_in &>(socket).sin_addr);
    }
    if (socket.sa_family == AF_INET6) {
        Address address{};
        std::memcpy(address.data(), &reinterpret_cast<const sockaddr_in6 &>(socket).sin6_addr, address.size());
        return address;
    }
    return std::nullopt;
}

std::string text_of(const Address &address) {
    char text[INET6_ADDRSTRLEN] = "";
    if (is_ipv4(address)) {
        inet_ntop(AF_INET, address.data() + mapped.size(), text, sizeof text);
    } else {
        inet_ntop(AF_INET6, address.data(), text, sizeof text);
    }
    return text;
}

bool is_loopback(const Address &address) {
    static const Networks loopback({"127.0.0.0/8", "::1"});
    return loopback.contain(address);
}

Networks::Networks(const std::vector<std::string> &texts) {
    for (const std::string &text : texts) {
        const std::size_t slash = text.find('/');
        const std::optional<Address> address = address_from_text(text.substr(0, slash));
        const unsigned offset = address && is_ipv4(*address) && text.find(':') == std::string::npos ? 96 : 0;
        unsigned prefix = 128 - offset;
        bool good = address.has_value();
        if (good && slash != std::string::npos) {
            const char *end = text.data() + text.size();
            const auto [stop, error] = std::from_chars(text.data() + slash + 1, end, prefix);
            good = error == std::errc() && stop == end && prefix <= 128 - offset;
        }
        if (!good) {
            throw std::runtime_error("consumer_networks: '" + text +
                                     "' is no network; write it as 10.0.0.0/8, 192.0.2.7 or fd00::/8");
        }
        networks_.push_back({*address, prefix + offset});
    }
}

bool Networks::contain(const Address &address) const {
    // 0.0.0.0/0 is all of IPv4, ::/0 all of IPv6: mapped addresses belong to the former alone.
    return std::any_of(networks_.begin(), networks_.end(), [&address](const Network &network) {
        return is_ipv4(network.address) == is_ipv4(address) && share_prefix(network.address, address, network.prefix);
    });
}

std::vector<std::string> default_consumer_networks(bool with_loopback) {
    std::vector<std::string> networks{"10.0.0.0/8", "172.16.0.0/12", "192.168.0.0/16", "fc00::/7"};
    if (with_loopback) {
        networks.insert(networks.end(), {"127.0.0.0/8", "::1"});
    }
    return networks;
}

}  // namespace ptp_agent::notification
