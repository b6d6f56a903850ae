// What fleet_state keeps of a clock.
#pragma once

#include "fleet_state.h"

namespace ptp_fleet {

/** The last message of a kind, and the bytes before its last change. */
struct fleet_state::kept {
    kept_record now;
    std::vector<std::uint8_t> before;
    std::uint64_t changed_ns = 0;
    std::uint64_t change = 0, alteration = 0;  // numbers of the last message, and of the last with other bytes
};

struct fleet_state::clock_entry {
    clock_summary row;
    std::vector<kept> records;
    std::vector<change_entry> changes;  // the oldest first
};

constexpr std::size_t changes_of_a_clock = 16;
constexpr std::size_t changes_of_all = 4096;
constexpr std::size_t records_of_a_kind = 64;  // ports, foreign masters

/** The record as people see it. */
clock_record shown(const kept_record &of, const std::vector<std::uint8_t> &before, std::uint64_t changed_ns);

}  // namespace ptp_fleet
