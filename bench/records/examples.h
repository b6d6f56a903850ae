// The values that all contenders of a record carry: of most fields none is the default.
#pragma once

#include "bench_records.h"

namespace bench {

/** Gives each field a number of its own, truths and enumerations a 1. */
struct numbering {
    template <class T>
    constexpr void number(const char *, T &value) {
        value = static_cast<T>(next++);
    }
    constexpr void truth(const char *, vela_boolean &value) { value = 1; }
    template <class Literals>
    constexpr void choice(const char *, u_int32 &value, Literals) {
        value = 1;
    }
    constexpr void open(const char *) {}
    constexpr void close() {}

    u_int32 next = 1;
};

/** The example of record R, unless one below says more of what the record holds in the field. */
template <class R>
constexpr typename R::values example_of() {
    typename R::values values{};
    numbering visitor;
    R::visit(visitor, values);
    return values;
}

/** A boundary clock that follows a grandmaster. */
template <>
constexpr ptp_clock_values example_of<clock_record<>>() {
    return {
        .modify = 1,
        .clk_version = VELA_PTP_VERSION_2,
        .clk_profile = VELA_PTP_PHASE_PROFILE_G8275_1,
        .default_data_set =
            {
                .clk_id = {0xaa, 0xbb, 0xcc, 0xff, 0xfe, 0x00, 0x01, 0x10},
                .clock_quality = {.clock_class = 165, .offset_scaled_log_var = 20061, .clock_accuracy = 4},
                .numberPorts = 12,
                .priority1 = 128,
                .priority2 = 127,
                .clk_domain = 24,
                .two_step_flag = 1,
                .slv_only = 1,
                .local_priority = 126,
            },
        .time_properties =
            {
                .currentUtcOffset = 37,
                .currentUtcOffsetValid = 1,
                .leap59 = 1,
                .leap61 = 1,
                .timeTraceable = 1,
                .frequencyTraceable = 1,
                .ptpTimescale = 1,
                .timeSource = VELA_PTP_TIME_SOURCE_GPS,
                .v_port_index = 3,
            },
        .revertive_bmca = 1,
        .clock_handle = 0x0102030405060708,
        .clk_type = VELA_PTP_CFG_CLK_TYPE_BOUNDARY,
        .clk_mode = VELA_PTP_CLOCK_MODE_BC_HYBRID,
        .warm_restart = 1,
        .network_type = VELA_PTP_HI_JITTER_NETWORK_TYPE,
        .tracking_type = VELA_PTP_FREQUENCY_TRACKING_TYPE,
    };
}

/** Ten streams with counters of a clock that has been up for days: from nothing to billions. */
template <>
constexpr ptp_stream_runtime_state_arr_values example_of<stream_statistics<>>() {
    ptp_stream_runtime_state_arr_values values{.cnt = 10, .state = {}};
    u_int32 number = 1;
    for (ptp_stream_runtime_state_values &stream : values.state) {
        stream.stream_id = 0x10000 + number;
        stream.port_hdl = static_cast<u_int16>(700 + number);
        stream.addr = {.family = VELA_IP_V6, .scope_id = number, .bytes = {}};
        for (size_t i = 0; i < stream.addr.bytes.size(); ++i) {
            stream.addr.bytes[i] = static_cast<u_int8>(0x20 + i + number);
        }
        for (size_t i = 0; i < stream.stats.size(); ++i) {
            stream.stats[i] = i % 5 < 2 ? u_int64{7919} * (i + 1) * number * number : i * number;
        }
        stream.encap = VELA_PTP_CFG_PORT_ENCAP_IPV4;
        stream.mac_addr = {0x02, 0x00, 0x5e, 0x10, 0x20, static_cast<u_int8>(number)};
        stream.l2_tpt_type = VELA_PTP_L2TPT_IF;
        stream.l2_tpt_val = 40 + number;
        ++number;
    }
    return values;
}

template <>
constexpr ptp_ipv4_streams_arr_values example_of<stream_list<>>() {
    ptp_ipv4_streams_arr_values values{};
    u_int32 number = 1;
    for (ptp_ipv4_stream_id_values &stream : values.streams) {
        stream = {.stream_id = 0x20000 + number,
                  .port_hdl = static_cast<u_int16>(300 + number),
                  .addr = 0xc0a80000 + number,
                  .state = static_cast<u_int8>(1 + number % 4),
                  .encap = VELA_PTP_CFG_PORT_ENCAP_IPV4,
                  .mac_addr = {0x02, 0x00, 0x5e, 0x11, static_cast<u_int8>(number), 0x21}};
        ++number;
    }
    return values;
}

}  // namespace bench
