// Values of the data model in the numbers of PTP messages.
#pragma once

#include <cstdint>
#include <optional>

#include "agent/daemon.h"
#include "agent/intent/record.h"

namespace ptp_agent {

/** The octet of a number of ptp_clock_accuracy: 0x20 for 25 ns and so on, 0xFE unknown. */
std::uint8_t accuracy_octet(std::int64_t number);
/** The other way round; 0 (unknown) for an octet that has no number. */
std::int64_t accuracy_number(std::uint8_t octet);
/** The octet of a number of ptp_clock_time_source: 0x20 for GPS and so on. */
std::uint8_t time_source_octet(std::int64_t number);
/** The other way round; 6 (other) for an octet that has no number. */
std::int64_t time_source_number(std::uint8_t octet);

/** ptp_clock_quality at a path. */
ClockQuality quality_at(const Record &record, const std::string &path);

}  // namespace ptp_agent
