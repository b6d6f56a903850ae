// A TCP socket that listens.
#pragma once

#include <cstdint>
#include <string>

#include "base/file_descriptor.h"

namespace ptp_agent::notification {

/** @param address  numeric. Throws std::runtime_error, which says why it cannot be listened on. */
base::file_descriptor listen_on(const std::string &address, std::uint16_t port);

/** The port that a socket got. */
std::uint16_t port_of(int socket);

}  // namespace ptp_agent::notification
