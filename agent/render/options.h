// ptp4l's options as rows: each is made from a field of a record, or from several.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "agent/intent/clock_intent.h"
#include "agent/render/plan.h"

namespace ptp_agent {

/** What the profile says where the control plane says nothing. */
struct ProfileDefaults {
    std::int64_t clk_profile;
    std::string_view comparison;  ///< dataset_comparison
    bool has_local_priorities;
    std::int64_t encapsulation;  ///< number of ptp_port_encap_val
    std::string_view multicast;  ///< ptp_dst_mac
    std::int64_t log_announce;
    std::int64_t log_sync;
    std::int64_t log_delay_request;
    std::int64_t receipt_timeout;
    std::int64_t grant_seconds;
    bool is_unicast;
};

const ProfileDefaults &defaults_of(const ClockIntent &intent);

/** What the options of a clock are made from. */
struct Context {
    const ClockIntent &intent;
    const ProfileDefaults &profile;
    const RenderOptions &options;
    std::vector<std::string> &notes;   ///< what could not be done as asked
    const PortIntent *port = nullptr;  ///< the port whose section it is
    /** The record that fields are of: that of the port, or of the clock. */
    const Record &record() const { return port == nullptr ? intent.clock() : *port->port; }
};

struct OptionRow {
    std::string_view option;
    std::string_view field;  ///< of the context's record; empty where several are looked at
    /** The value; empty: the option is not stated. */
    std::string (*value)(const Context &context, std::string_view field);
    bool can_be_set = false;  ///< while the daemon runs
};

std::span<const OptionRow> clock_options();
std::span<const OptionRow> port_options();

/** Number of ptp_port_encap_val that a port uses. */
std::int64_t encapsulation_of(const Context &context);
/** Whether a stream is one whose peer is asked for messages. */
bool asks_a_master(const Record &stream);
/** Whether the clock is never master. */
bool is_slave_only(const ClockIntent &intent);

// Conversions that rows of both kinds use.
std::string as_number(const Context &context, std::string_view field);
std::string as_flag(const Context &context, std::string_view field);
/** A flag that is stated only when it is set. */
std::string as_switch(bool is_on);
std::string as_local_priority(const Context &context, std::string_view field);

}  // namespace ptp_agent
