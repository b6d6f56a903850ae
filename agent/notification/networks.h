// Networks by address and prefix: who may be called.
#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ptp_agent::notification {

/** An IP address in 16 bytes: IPv4 as its IPv6-mapped form, so that neither is a way around the rules of the other. */
using Address = std::array<std::uint8_t, 16>;

/** From text such as 192.0.2.1 or 2001:db8::1; nothing where it is a name. */
std::optional<Address> address_from_text(const std::string &text);

std::optional<Address> address_from_socket(const sockaddr &socket);

/** IPv4 in dotted form, also where it came mapped. */
std::string text_of(const Address &address);

bool is_loopback(const Address &address);

class Networks {
  public:
    /** From texts such as 10.0.0.0/8 or ::1. Throws std::runtime_error where one is none. */
    explicit Networks(const std::vector<std::string> &texts);

    bool contain(const Address &address) const;

  private:
    struct Network {
        Address address{};
        unsigned prefix = 0;
    };
    std::vector<Network> networks_;
};

/** Where consumers may be unless configuration says: networks for private use, and this host where it is asked to. */
std::vector<std::string> default_consumer_networks(bool with_loopback);

}  // namespace ptp_agent::notification
