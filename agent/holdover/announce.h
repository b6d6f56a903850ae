// What a clock announces when it is grandmaster, by its state.
#pragma once

#include "agent/holdover/clock_classes.h"

namespace ptp_agent {

/** A state with what the announcement needs to know of it. */
struct Standing {
    LockState state = LockState::FreeRun;
    ClockRole role = ClockRole::Follower;
    bool was_locked = false;  ///< since the last free run
    std::uint8_t category = 0;
    std::optional<std::int64_t> error_ns;             ///< expected, in holdover
    std::optional<std::uint64_t> alone_ns;            ///< how long in holdover
    const VirtualPortIntent *port = nullptr;          ///< that is followed
    std::optional<TimeProperties> master_properties;  ///< of the master that was followed
};

/** None: the clock is slave-only. */
std::optional<GrandmasterSettings> announcement(const ClockIntent &intent, const HoldoverModel &model,
                                                const Standing &standing, std::uint64_t wall_ns);

/** When, by the wall clock, a leap second that was asked for changes what is announced next; none: nothing does. */
std::optional<std::uint64_t> next_leap_change_ns(const ClockIntent &intent, std::uint64_t wall_ns);

/** When the UTC offset is no longer announced as valid, after holdover began; none: never. */
std::optional<std::uint64_t> utc_timeout_ns(const ClockIntent &intent, const HoldoverModel &model);

}  // namespace ptp_agent
