// A TCP socket that listens.
#pragma once

#include <cstdint>
#include <string>

namespace ptp_fleet {

/** @param address  numeric. The caller owns the socket. Throws std::runtime_error, which says why it cannot listen. */
int listen_on(const std::string &address, std::uint16_t port);

/** The port that a socket got. */
std::uint16_t port_of(int socket);

}  // namespace ptp_fleet
