// The clockClass of a clock by its profile, what it followed, and its state, as tables.
#include "agent/holdover/clock_classes.h"

#include <algorithm>
#include <array>

namespace ptp_agent {
namespace {

using enum LockState;
using enum ClockRole;

constexpr std::string_view default_table = "IEEE 1588-2008, table 5";
constexpr std::string_view telecom_table = "ITU-T G.8275.1, table 2";

constexpr ClassRow rows[] = {
    // The default profile. A clock that followed a master has no class for holdover: it is what it was given.
    {false, true, Grandmaster, Locked, 0, 6, default_table},
    {false, true, Grandmaster, HoldoverInSpec, 0, 7, default_table},
    {false, true, Grandmaster, HoldoverOutOfSpec, 0, 187, default_table},
    {false, true, Grandmaster, Acquiring, 0, 248, default_table},
    {false, true, Grandmaster, FreeRun, 0, 248, default_table},
    {false, false, Grandmaster, Locked, 0, 13, default_table},
    {false, false, Grandmaster, HoldoverInSpec, 0, 14, default_table},
    {false, false, Grandmaster, HoldoverOutOfSpec, 0, 193, default_table},
    {false, false, Grandmaster, Acquiring, 0, 248, default_table},
    {false, false, Grandmaster, FreeRun, 0, 248, default_table},
    // T-GM.
    {true, true, Grandmaster, Locked, 0, 6, telecom_table},
    {true, true, Grandmaster, HoldoverInSpec, 0, 7, telecom_table},
    {true, true, Grandmaster, HoldoverOutOfSpec, 1, 140, telecom_table},
    {true, true, Grandmaster, HoldoverOutOfSpec, 2, 150, telecom_table},
    {true, true, Grandmaster, HoldoverOutOfSpec, 3, 160, telecom_table},
    {true, true, Grandmaster, Acquiring, 0, 248, telecom_table},
    {true, true, Grandmaster, FreeRun, 0, 248, telecom_table},
    // T-BC.
    {true, true, Follower, HoldoverInSpec, 0, 135, telecom_table},
    {true, true, Follower, HoldoverOutOfSpec, 0, 165, telecom_table},
};

struct AccuracyRow {
    std::int64_t most_ns;
    std::uint8_t octet;
};

constexpr std::array<AccuracyRow, 17> accuracies = {{{25, 0x20},
                                                     {100, 0x21},
                                                     {250, 0x22},
                                                     {1'000, 0x23},
                                                     {2'500, 0x24},
                                                     {10'000, 0x25},
                                                     {25'000, 0x26},
                                                     {100'000, 0x27},
                                                     {250'000, 0x28},
                                                     {1'000'000, 0x29},
                                                     {2'500'000, 0x2A},
                                                     {10'000'000, 0x2B},
                                                     {25'000'000, 0x2C},
                                                     {100'000'000, 0x2D},
                                                     {250'000'000, 0x2E},
                                                     {1'000'000'000, 0x2F},
                                                     {10'000'000'000, 0x30}}};
constexpr std::uint8_t worse_than_all = 0x31;

}  // namespace

std::span<const ClassRow> class_rows() { return rows; }

const ClassRow *class_row(bool is_telecom, bool is_ptp_timescale, ClockRole role, LockState state,
                          std::uint8_t category) {
    const auto *const place = std::find_if(std::begin(rows), std::end(rows), [&](const ClassRow &row) {
        return row.is_telecom == is_telecom && (is_telecom || row.is_ptp_timescale == is_ptp_timescale) &&
               row.role == role && row.state == state && (row.category == 0 || row.category == category);
    });
    return place == std::end(rows) ? nullptr : place;
}

std::uint8_t accuracy_of_error(std::int64_t error_ns) {
    for (const AccuracyRow &row : accuracies) {
        if (error_ns <= row.most_ns) {
            return row.octet;
        }
    }
    return worse_than_all;
}

}  // namespace ptp_agent
