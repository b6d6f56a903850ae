// Tables between the numbers of IEEE 1588 and enumerations.
#include "agent/observe/enumerations.h"

#include <algorithm>

#include "ptp_cfg/enumerations.h"

namespace ptp_agent {
namespace {

struct Pair {
    std::int64_t from;
    std::int64_t to;
};

// GrandMaster is a state of this daemon alone: in IEEE 1588 the port is a master.
constexpr Pair port_states[] = {
    {1, VELA_PTP_PORT_STATE_INITIALIZING}, {2, VELA_PTP_PORT_STATE_FAULTY},       {3, VELA_PTP_PORT_STATE_DISABLED},
    {4, VELA_PTP_PORT_STATE_LISTENING},    {5, VELA_PTP_PORT_STATE_PRE_MASTER},   {6, VELA_PTP_PORT_STATE_MASTER},
    {7, VELA_PTP_PORT_STATE_PASSIVE},      {8, VELA_PTP_PORT_STATE_UNCALIBRATED}, {9, VELA_PTP_PORT_STATE_SLAVE},
    {10, VELA_PTP_PORT_STATE_MASTER},
};

constexpr Pair port_roles[] = {
    {1, VELA_PTP_CFG_PORT_NOT_SET}, {2, VELA_PTP_CFG_PORT_NOT_SET}, {3, VELA_PTP_CFG_PORT_NOT_SET},
    {4, VELA_PTP_CFG_PORT_NOT_SET}, {5, VELA_PTP_CFG_PORT_MASTER},  {6, VELA_PTP_CFG_PORT_MASTER},
    {7, VELA_PTP_CFG_PORT_NOT_SET}, {8, VELA_PTP_CFG_PORT_SLAVE},   {9, VELA_PTP_CFG_PORT_SLAVE},
    {10, VELA_PTP_CFG_PORT_MASTER},
};

constexpr Pair time_sources[] = {
    {0x10, VELA_PTP_TIME_SOURCE_ATOMIC_CLOCK},
    {0x20, VELA_PTP_TIME_SOURCE_GPS},
    {0x30, VELA_PTP_TIME_SOURCE_TERRESTRIAL_RADIO},
    {0x40, VELA_PTP_TIME_SOURCE_PTP},
    {0x50, VELA_PTP_TIME_SOURCE_NTP},
    {0x60, VELA_PTP_TIME_SOURCE_HAND_SET},
    {0x90, VELA_PTP_TIME_SOURCE_OTHER},
    {0xA0, VELA_PTP_TIME_SOURCE_INTERNAL_OSCILLATOR},
};

constexpr Pair delay_mechanisms[] = {
    {1, VELA_PTP_DELAY_MECHANISM_E2E}, {2, VELA_PTP_DELAY_MECHANISM_P2P}, {0xFE, VELA_PTP_DELAY_MECHANISM_DISABLED}};

template <std::size_t Count>
Value look_up(const Pair (&table)[Count], std::int64_t number) {
    const auto *found =
        std::find_if(std::begin(table), std::end(table), [number](const Pair &row) { return row.from == number; });
    return found == std::end(table) ? Value() : Value(found->to);
}

}  // namespace

Value to_port_state(std::int64_t daemon_state) { return look_up(port_states, daemon_state); }
Value to_port_role(std::int64_t daemon_state) { return look_up(port_roles, daemon_state); }
Value to_time_source(std::int64_t octet) { return look_up(time_sources, octet); }
Value to_delay_mechanism(std::int64_t octet) { return look_up(delay_mechanisms, octet); }

Value to_clock_accuracy(std::int64_t octet) {
    constexpr std::int64_t first = 0x20, last = 0x31, unknown = 0xFE;
    if (octet == unknown) {
        return Value(std::int64_t{VELA_PTP_CLOCK_ACCURACY_UNKNOWN});
    }
    // Both count from the best to the worst without a gap.
    return octet >= first && octet <= last ? Value(octet - first + VELA_PTP_CLOCK_ACCURACY_WITHIN_25ns) : Value();
}

}  // namespace ptp_agent
