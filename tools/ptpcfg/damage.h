// Deliberate damage to messages, for testing what receives them.
#pragma once

#include <string>
#include <vector>

#include "channel.h"

namespace ptpcfg {

struct damage_options {
    int64_t truncate = 0;            // bytes that are left; negative: that many are cut off; 0: none
    std::vector<std::string> flips;  // OFFSET or OFFSET.BIT
    std::vector<std::string> bytes;  // OFFSET=VALUE
    bool is_wanted() const { return truncate != 0 || !flips.empty() || !bytes.empty(); }
};

/** Damages a message. Fails with a usage error where an option is malformed or lies outside of it. */
void damage(const damage_options &options, std::string &message);

/**
 * Sends packets as they are, past the transport, which refuses what is no message. Nothing is confirmed: the peer may
 * drop them and the connection. Fails when there is no peer in the options' time.
 */
void send_raw(const channel_options &options, const std::vector<std::string> &packets);

}  // namespace ptpcfg
