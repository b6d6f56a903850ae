// The clockClass of a clock by its profile, what it followed, and its state.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "agent/holdover/holdover.h"

namespace ptp_agent {

/** What a clock is in the tables of the standards. */
enum class ClockRole : std::uint8_t {
    Grandmaster,  ///< it follows, or followed last, a time source of its own
    Follower      ///< it follows, or followed last, a master
};

struct ClassRow {
    bool is_telecom;        ///< ITU-T G.8275.1 and G.8275.2; else the default profile
    bool is_ptp_timescale;  ///< the default profile has other classes for other timescales
    ClockRole role;
    LockState state;
    std::uint8_t category;  ///< of holdover frequency, 1 to 3; 0: any
    std::uint8_t clock_class;
    std::string_view reference;
};

std::span<const ClassRow> class_rows();

/** The row of a state; nullptr where the tables have none: the clock keeps the class that it was given. */
const ClassRow *class_row(bool is_telecom, bool is_ptp_timescale, ClockRole role, LockState state,
                          std::uint8_t category);

/** The octet of the best clockAccuracy that an error is inside (IEEE 1588-2008, table 6). */
std::uint8_t accuracy_of_error(std::int64_t error_ns);

}  // namespace ptp_agent
