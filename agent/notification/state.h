// The synchronisation state that the notification API reports, as the rest of the agent hands it over.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ptp_agent::notification {

/** From best to worst. */
enum class LockState : std::uint8_t { Locked, Holdover, Freerun };

enum class OsClockState : std::uint8_t { Locked, Freerun };

/** A value and when it was read. Who has read nothing hands over no reading. */
template <typename Value>
struct Reading {
    Value value{};
    std::uint64_t wall_ns = 0;  ///< UTC since 1970
};

/**
 * One PTP clock. A clock whose daemon has gone is in holdover or free run, which the holdover state machine knows:
 * leave `lock_state` empty only while nothing has ever been learnt of it.
 */
struct ClockState {
    std::string name;  ///< tells several clocks of a node apart, in resource addresses too
    std::optional<Reading<LockState>> lock_state;
    std::optional<Reading<std::uint8_t>> clock_class;
    std::optional<Reading<double>> offset_ns;  ///< from the master; goes along with the lock state
};

/** All that is reported of a node. */
struct NodeState {
    std::vector<ClockState> clocks;
    std::optional<Reading<OsClockState>> os_clock;
    std::optional<Reading<std::string>> gnss;  ///< as the receiver's driver calls it, e.g. SYNCHRONIZED
};

}  // namespace ptp_agent::notification
