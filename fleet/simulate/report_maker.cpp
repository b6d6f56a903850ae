// Each second the offset; the rest when it changed, and all of it again from time to time.
#include "report_maker.h"

#include <array>
#include <cmath>

#include "ptp_cfg/cpp/throwing.hpp"

namespace ptp_fleet {
namespace {

constexpr double nanosecond = 65536;  // of a scaled nanosecond
constexpr std::uint64_t packets_a_second = 40;
constexpr std::int16_t utc_offset = 37;

/** The EUI-64 of the element's MAC address, which is a locally administered one. */
std::array<u_int8, 8> identity_of(std::uint32_t number) {
    return {0x02,
            0x00,
            0x00,
            0xff,
            0xfe,
            static_cast<u_int8>(number >> 16),
            static_cast<u_int8>(number >> 8),
            static_cast<u_int8>(number)};
}

en_address mac_of(std::uint32_t number) {
    return {{0x02, 0x00, 0x00, static_cast<u_int8>(number >> 16), static_cast<u_int8>(number >> 8),
             static_cast<u_int8>(number)}};
}

void set_identity(ptp::clock_identity_view of, std::uint32_t number) {
    const std::array<u_int8, 8> octets = identity_of(number);
    for (u_int32 i = 0; i < octets.size(); ++i) {
        of.set_ptp_clk_id(i, octets[i]);
    }
}

void set_quality(ptp::clock_quality_view of, int clock_class) {
    of.set_clock_class(static_cast<u_int8>(clock_class));
    of.set_clock_accuracy(clock_class == 6 ? ptp::clock_accuracy::CLOCK_ACCURACY_WITHIN_100ns
                                           : ptp::clock_accuracy::CLOCK_ACCURACY_UNKNOWN);
    of.set_offset_scaled_log_var(clock_class == 6 ? 0x4E5D : -1);
}

/** TimeInterval, whose negative values are the two's complement. */
void set_interval(ptp::time_interval_view of, double ns) {
    of.set_scaledNanoseconds(static_cast<u_int64>(std::llround(ns * nanosecond)));
}

bool differs(const announced &a, const announced &b) {
    return a.grandmaster != b.grandmaster || a.clock_class != b.clock_class || a.priority1 != b.priority1 ||
           a.steps != b.steps;
}

template <class message>
message make(vela_handle *handle) {
    return std::move(message::create(handle).value());
}

}  // namespace

report_maker::report_maker(std::uint32_t elements, std::uint32_t full_every, std::uint64_t start_ns)
    : full_every_(full_every),
      start_ns_(start_ns),
      told_(elements),
      room_(2048),
      handle_(ptp::throwing::make_handle()),
      current_(make<ptp::clk_current_ds_msg_message>(handle_)),
      parent_(make<ptp::clk_parent_ds_msg_message>(handle_)),
      default_(make<ptp::clk_default_ds_msg_message>(handle_)),
      time_properties_(make<ptp::clk_time_properties_ds_msg_message>(handle_)),
      state_(make<ptp::clock_runtime_state_msg_message>(handle_)),
      selected_(make<ptp::current_selected_master_event_message>(handle_)),
      step_(make<ptp::step_time_event_message>(handle_)) {}

template <class message>
void report_maker::send(const message &of, const char *name, std::uint32_t number, const sink &to) {
    const auto bytes = ptp::throwing::encode(of, ptp::span<u_int8>(room_.data(), room_.size()));
    to({number, name, {bytes.data(), bytes.size()}});
}

void report_maker::current(const element &of) {
    ptp::clock_current_data_set_view set = current_.clock_current_data_set();
    set.set_steps_removed(static_cast<u_int16>(of.best.steps));
    set_interval(set.offset_from_master(), of.offset_ns);
    set_interval(set.mean_path_delay(), of.best.steps > 0 ? of.path_delay_ns : 0);
}

void report_maker::parent(const element &of) {
    ptp::clock_parent_data_set_view set = parent_.clock_parent_data_set();
    set_identity(set.parent_port_identity().clock_identity(), of.parent);
    set.parent_port_identity().set_portNumber(of.best.steps > 0 ? 1 : 0);
    set.set_parent_stats(false);
    set.set_observed_parent_offset_scaled_log_variance(-1);
    set.set_observed_parent_clock_phase_change_rate(0x7fffffff);
    set_identity(set.grandmaster_identity(), of.best.grandmaster);
    set_quality(set.grandmaster_clock_quality(), of.best.clock_class);
    set.set_grandmaster_priority1(static_cast<u_int8>(of.best.priority1));
    set.set_grandmaster_priority2(static_cast<u_int8>(of.best.priority2));
}

void report_maker::defaults(const element &of, std::uint32_t number) {
    ptp::clock_default_ds_view set = default_.clock_default_ds();
    set_identity(set.clk_id(), number);
    set_quality(set.clock_quality(), of.own.clock_class);
    set.set_numberPorts(10);
    set.set_priority1(static_cast<u_int8>(of.own.priority1));
    set.set_priority2(static_cast<u_int8>(of.own.priority2));
    set.set_clk_domain(24);
    set.set_two_step_flag(true);
    set.set_local_priority(128);
}

void report_maker::time_properties(const element &of) {
    ptp::clock_time_properties_data_set_view set = time_properties_.clock_time_properties_data_set();
    const bool is_traceable = of.best.clock_class <= 7;
    set.set_currentUtcOffset(utc_offset);
    set.set_currentUtcOffsetValid(is_traceable);
    set.set_timeTraceable(is_traceable);
    set.set_frequencyTraceable(is_traceable);
    set.set_ptpTimescale(true);
    set.set_timeSource(of.best.clock_class == 6 ? ptp::clock_time_source::TIME_SOURCE_GPS
                                                : ptp::clock_time_source::TIME_SOURCE_INTERNAL_OSCILLATOR);
}

void report_maker::state(const element &of, std::uint64_t packets, std::uint64_t now_ns) {
    ptp::clock_runtime_state_view set = state_.clock_runtime_state();
    set.set_clock_state(static_cast<ptp::clock_state>(of.state));
    set.set_ts(now_ns);
    set.set_pkts_sent(packets / 4);
    set.set_pkts_rcvd(packets);
}

void report_maker::selected_master(std::uint32_t now, std::uint32_t before) {
    ptp::current_selected_master_info_view info = selected_.current_selected_master_info();
    info.set_current_master_ip({});
    info.set_previous_master_ip({});
    info.set_encap(ptp::port_encap_val::CFG_PORT_ENCAP_ETH);
    info.set_current_master_mac(mac_of(now));
    info.set_previous_master_mac(mac_of(before));
}

void report_maker::step(double ns) {
    ptp::step_time_info_view info = step_.step_time_info();
    const auto size = static_cast<u_int64>(std::abs(ns));
    info.set_delta_time_sec(size / 1'000'000'000);
    info.set_delta_time_nano_sec(static_cast<u_int32>(size % 1'000'000'000));
    info.set_negative(ns < 0);
}

void report_maker::report_element(const network &of, std::uint32_t number, const sink &to) {
    const element &one = of.elements()[number];
    told &before = told_[number];
    const auto second = static_cast<std::uint64_t>(of.time());
    const std::uint64_t now_ns = start_ns_ + second * 1'000'000'000;
    before.packets += one.best.steps > 0 ? packets_a_second : 0;
    if (one.is_silent) {
        return;
    }
    // Not all at the same moment, as real elements would not either; at the start, all.
    const bool is_full = second == 1 || (second + number) % full_every_ == 0;
    if (one.stepped_ns != 0) {
        step(one.stepped_ns);
        send(step_, "ptp_step_time_event", number, to);
    }
    if (one.has_changed_master && one.parent != before.parent) {
        selected_master(one.parent, before.parent);
        send(selected_, "ptp_current_selected_master_event", number, to);
    }
    if (is_full || one.parent != before.parent || differs(one.best, before.best)) {
        defaults(one, number);
        send(default_, "ptp_clk_default_ds_msg", number, to);
        parent(one);
        send(parent_, "ptp_clk_parent_ds_msg", number, to);
        time_properties(one);
        send(time_properties_, "ptp_clk_time_properties_ds_msg", number, to);
    }
    if (is_full || one.state != before.state) {
        state(one, before.packets, now_ns);
        send(state_, "ptp_clock_runtime_state_msg", number, to);
    }
    current(one);
    send(current_, "ptp_clk_current_ds_msg", number, to);
    before.state = one.state;
    before.best = one.best;
    before.parent = one.parent;
}

void report_maker::report_second(const network &of, const sink &to) {
    for (std::uint32_t number = 0; number < of.elements().size(); ++number) {
        report_element(of, number, to);
    }
}

}  // namespace ptp_fleet
