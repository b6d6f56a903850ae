// From the numbers of IEEE 1588 to those of the data model's enumerations.
#pragma once

#include <cstdint>

#include "agent/observe/report_row.h"

namespace ptp_agent {

/** All of these: nothing for a number that the enumeration has no value for. */
Value to_port_state(std::int64_t daemon_state);
Value to_clock_accuracy(std::int64_t octet);
Value to_time_source(std::int64_t octet);
Value to_delay_mechanism(std::int64_t octet);
/** The role that a port has by its state: master, slave, or none chosen. */
Value to_port_role(std::int64_t daemon_state);

}  // namespace ptp_agent
