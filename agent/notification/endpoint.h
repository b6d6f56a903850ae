// What an address must be before anything is sent there.
#pragma once

#include <string>

#include "agent/notification/networks.h"

namespace ptp_agent::notification {

/**
 * Looks at a consumer's address without asking anybody. A name is judged later, by the addresses that it has when a
 * connection is made.
 * @return empty, or what is wrong with it, for people
 */
std::string fault_of_endpoint(const std::string &uri, const Networks &allowed);

}  // namespace ptp_agent::notification
