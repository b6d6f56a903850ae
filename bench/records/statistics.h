// The values of the stream statistics that every contender carries: ten streams with fifty counters each.
#pragma once

#include <array>
#include <cstring>
#include <utility>

#include "records/access.h"
#include "records/records.h"

namespace bench {

struct stream_state_values {
    u_int32 stream_id;
    u_int16 port;
    u_int32 family;
    u_int32 scope_id;
    std::array<u_int8, 16> address;
    std::array<u_int64, 50> counters;
    u_int32 encapsulation;
    std::array<u_int8, 6> mac;
    u_int32 l2_type;
    u_int32 l2_value;
    bool operator==(const stream_state_values &) const = default;
};

struct statistics_values {
    u_int32 count;
    std::array<stream_state_values, 10> streams;
    bool operator==(const statistics_values &) const = default;
};

const statistics_values &example_statistics();

/** The statistics as the scenarios of records see them; filled and read by calls or by inline forms. */
template <class Way = access_way>
struct statistics_record {
    BENCH_FUNCTIONS_OF(ptp_stream_runtime_state_arr)
    using values = statistics_values;
    static constexpr u_int32 width = 4660;
    static constexpr u_int32 text_room = 131072;
    static const values &example() { return example_statistics(); }
    /** Sets every field. */
    static void fill(vela_handle *handle, instance *statistics, const values &all, u_int32 *err);
    /** Reads every field by the accessors for whole records. The result stands until the next call. */
    static const values &read(vela_handle *handle, instance *statistics, u_int32 *err);
};

inline constexpr auto counter_indices = std::make_index_sequence<50>{};

template <class Way, size_t... I>
void set_counters(vela_handle *handle, ptp_msg_stats *counters, const std::array<u_int64, 50> &values, u_int32 *err,
                  std::index_sequence<I...>) {
    ptp_msg_stats_set_all(handle, mem_class, counters, values[I]..., err);
}

template <class Way, size_t... I>
void get_counters(vela_handle *handle, const ptp_msg_stats *counters, std::array<u_int64, 50> &values, u_int32 *err,
                  std::index_sequence<I...>) {
    ptp_msg_stats_get_all(handle, mem_class, counters, &values[I]..., err);
}

template <class Way>
void statistics_record<Way>::fill(vela_handle *handle, instance *statistics, const values &all, u_int32 *err) {
    ptp_stream_runtime_state_arr_set_all(handle, mem_class, statistics, all.count, err);
    for (u_int32 i = 0; i < all.streams.size(); ++i) {
        const stream_state_values &from = all.streams[i];
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
        set_counters<Way>(handle, ptp_stream_runtime_state_stats_get(handle, mem_class, state, err), from.counters, err,
                          counter_indices);
    }
}

template <class Way>
auto statistics_record<Way>::read(vela_handle *handle, instance *statistics, u_int32 *err) -> const values & {
    static values all;
    ptp_stream_runtime_state_arr_get_all(handle, mem_class, statistics, &all.count, err);
    for (u_int32 i = 0; i < all.streams.size(); ++i) {
        stream_state_values &to = all.streams[i];
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
        get_counters<Way>(handle, ptp_stream_runtime_state_stats_get(handle, mem_class, state, err), to.counters, err,
                          counter_indices);
    }
    return all;
}

}  // namespace bench
