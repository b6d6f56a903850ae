// What a request that is refused is told (RFC 9457).
#pragma once

#include "http_message.h"

namespace ptp_fleet {

/** @param detail  what was wrong, where, and what to do */
http_response problem(unsigned status, const std::string &detail);

}  // namespace ptp_fleet
