// Commands to elements: who sent what, whether it was on what they had seen, and what the element reported then.
#pragma once

#include <string>
#include <vector>

#include "fleet_state.h"

namespace ptp_fleet {

struct command_request {
    std::string element;
    std::string json;  // a message of the control plane's: {"ptp_utc_offset_cmd": {...}}
    std::string who;
    std::uint64_t version = 0;  // of the element's commands that the sender has seen, as version() says
};

enum class command_fate : std::uint8_t {
    sent,      // on its way
    answered,  // the element reported a change since
    silent,    // it reported none in time
    conflict,  // somebody else sent another command since: nothing was sent
    refused    // is no command, or could not be sent: nothing was sent
};
const char *to_text(command_fate of);

struct command_entry {
    std::uint64_t id = 0;
    std::string element, message, json, who;
    std::uint64_t time_ns = 0;
    std::uint64_t version = 0;  // of the element's commands after this one
    command_fate fate = command_fate::sent;
    std::string reason;                // of a conflict or refusal, for people
    std::vector<change_entry> answer;  // what the element reported then
};

/** Any thread may call. */
class command_desk {
  public:
    virtual ~command_desk() = default;
    /** How many commands the element has been sent; 0 for none. */
    virtual std::uint64_t version(const std::string &element) = 0;
    /** Answers at once with sent, conflict or refused; entry() says later what became of it. */
    virtual command_entry send(const command_request &request) = 0;
    virtual std::optional<command_entry> entry(std::uint64_t id) = 0;
    /** All that were tried, the newest first. */
    virtual std::vector<command_entry> entries(std::size_t limit) = 0;
};

}  // namespace ptp_fleet
