#include "records/statistics.h"

#include <cstring>

#include <utility>

#include "records/records.h"

namespace bench {
namespace {

constexpr auto counter_indices = std::make_index_sequence<50>{};

template <size_t... I>
void set_counters(vela_handle *handle, ptp_msg_stats *counters, const std::array<u_int64, 50> &values, u_int32 *err,
                  std::index_sequence<I...>) {
    ptp_msg_stats_set_all(handle, mem_class, counters, values[I]..., err);
}

template <size_t... I>
void get_counters(vela_handle *handle, const ptp_msg_stats *counters, std::array<u_int64, 50> &values, u_int32 *err,
                  std::index_sequence<I...>) {
    ptp_msg_stats_get_all(handle, mem_class, counters, &values[I]..., err);
}

statistics_values make_example() {
    statistics_values values{};
    values.count = 10;
    u_int32 number = 1;
    for (stream_state_values &stream : values.streams) {
        stream.stream_id = 0x10000 + number;
        stream.port = static_cast<u_int16>(700 + number);
        stream.family = VELA_IP_V6;
        stream.scope_id = number;
        for (size_t i = 0; i < stream.address.size(); ++i) {
            stream.address[i] = static_cast<u_int8>(0x20 + i + number);
        }
        // Counters of a clock that has been up for days: from nothing to billions.
        for (size_t i = 0; i < stream.counters.size(); ++i) {
            stream.counters[i] = i % 5 < 2 ? u_int64{7919} * (i + 1) * number * number : i * number;
        }
        stream.encapsulation = VELA_PTP_CFG_PORT_ENCAP_IPV4;
        stream.mac = {0x02, 0x00, 0x5e, 0x10, 0x20, static_cast<u_int8>(number)};
        stream.l2_type = VELA_PTP_L2TPT_IF;
        stream.l2_value = 40 + number;
        ++number;
    }
    return values;
}

}  // namespace

const statistics_values &example_statistics() {
    static const statistics_values values = make_example();
    return values;
}

void fill_statistics(vela_handle *handle, ptp_stream_runtime_state_arr *statistics, const statistics_values &values,
                     u_int32 *err) {
    ptp_stream_runtime_state_arr_set_all(handle, mem_class, statistics, values.count, err);
    for (u_int32 i = 0; i < values.streams.size(); ++i) {
        const stream_state_values &from = values.streams[i];
        auto *state = ptp_stream_runtime_state_arr_state_get(handle, mem_class, statistics, i, err);
        ptp_stream_runtime_state_set_all(handle, mem_class, state, from.stream_id, from.encapsulation, from.l2_type,
                                         from.l2_value, err);
        ptp_port_pd_hdl_set_all(handle, mem_class, ptp_stream_runtime_state_port_hdl_get(handle, mem_class, state, err),
                                from.port, err);
        ip_address address{};
        address.family = from.family;
        address.scope_id = from.scope_id;
        std::memcpy(address.bytes, from.address.data(), from.address.size());
        ptp_stream_runtime_state_addr_set(handle, mem_class, state, &address, err);
        en_address mac;
        std::memcpy(mac.octet, from.mac.data(), from.mac.size());
        ptp_stream_runtime_state_mac_addr_set(handle, mem_class, state, &mac, err);
        set_counters(handle, ptp_stream_runtime_state_stats_get(handle, mem_class, state, err), from.counters, err,
                     counter_indices);
    }
}

ptp_stream_runtime_state_arr *make_statistics(vela_handle *handle, const statistics_values &values) {
    u_int32 err = 0;
    ptp_stream_runtime_state_arr *statistics = ptp_stream_runtime_state_arr_create(handle, mem_class);
    fill_statistics(handle, statistics, values, &err);
    require(err == 0, "make statistics");
    return statistics;
}

const statistics_values &read_statistics(vela_handle *handle, ptp_stream_runtime_state_arr *statistics, u_int32 *err) {
    static statistics_values values;
    ptp_stream_runtime_state_arr_get_all(handle, mem_class, statistics, &values.count, err);
    for (u_int32 i = 0; i < values.streams.size(); ++i) {
        stream_state_values &to = values.streams[i];
        auto *state = ptp_stream_runtime_state_arr_state_get(handle, mem_class, statistics, i, err);
        ptp_stream_runtime_state_get_all(handle, mem_class, state, &to.stream_id, &to.encapsulation, &to.l2_type,
                                         &to.l2_value, err);
        ptp_port_pd_hdl_get_all(handle, mem_class, ptp_stream_runtime_state_port_hdl_get(handle, mem_class, state, err),
                                &to.port, err);
        const ip_address *address = ptp_stream_runtime_state_addr_get(handle, mem_class, state, err);
        to.family = address->family;
        to.scope_id = address->scope_id;
        std::memcpy(to.address.data(), address->bytes, to.address.size());
        const en_address *mac = ptp_stream_runtime_state_mac_addr_get(handle, mem_class, state, err);
        std::memcpy(to.mac.data(), mac->octet, to.mac.size());
        get_counters(handle, ptp_stream_runtime_state_stats_get(handle, mem_class, state, err), to.counters, err,
                     counter_indices);
    }
    return values;
}

}  // namespace bench
