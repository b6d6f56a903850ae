// The values of the list of 128 streams that every contender carries.
#pragma once

#include <array>
#include <cstring>

#include "records/access.h"
#include "records/records.h"

namespace bench {

struct stream_values {
    u_int32 stream_id;
    u_int16 port;
    u_int32 address;
    u_int8 state;
    u_int32 encapsulation;
    std::array<u_int8, 6> mac;
    bool operator==(const stream_values &) const = default;
};

constexpr u_int32 stream_count = 128;
using stream_list_values = std::array<stream_values, stream_count>;

const stream_list_values &example_stream_list();

/** The list as the scenarios of records see it; filled and read by calls or by inline forms. */
template <class Way = access_way>
struct stream_list_record {
    BENCH_FUNCTIONS_OF(ptp_ipv4_streams_arr)
    using values = stream_list_values;
    static constexpr u_int32 width = 6 + stream_count * 34;
    static constexpr u_int32 text_room = 131072;
    static const values &example() { return example_stream_list(); }
    /** Sets every field. */
    static void fill(vela_handle *handle, instance *list, const values &all, u_int32 *err);
    /** Reads every field by the accessors for whole records. The result stands until the next call. */
    static const values &read(vela_handle *handle, instance *list, u_int32 *err);
};

template <class Way>
void stream_list_record<Way>::fill(vela_handle *handle, instance *list, const values &all, u_int32 *err) {
    for (u_int32 i = 0; i < all.size(); ++i) {
        const stream_values &from = all[i];
        auto *stream = ptp_ipv4_streams_arr_streams_get(handle, mem_class, list, i, err);
        ptp_ipv4_stream_id_set_all(handle, mem_class, stream, from.stream_id, from.address, from.state,
                                   from.encapsulation, err);
        ptp_port_pd_hdl_set_all(handle, mem_class, ptp_ipv4_stream_id_port_hdl_get(handle, mem_class, stream, err),
                                from.port, err);
        en_address mac;
        std::memcpy(mac.octet, from.mac.data(), from.mac.size());
        ptp_ipv4_stream_id_mac_addr_set(handle, mem_class, stream, &mac, err);
    }
}

template <class Way>
auto stream_list_record<Way>::read(vela_handle *handle, instance *list, u_int32 *err) -> const values & {
    static values all;
    for (u_int32 i = 0; i < all.size(); ++i) {
        stream_values &to = all[i];
        auto *stream = ptp_ipv4_streams_arr_streams_get(handle, mem_class, list, i, err);
        ptp_ipv4_stream_id_get_all(handle, mem_class, stream, &to.stream_id, &to.address, &to.state, &to.encapsulation,
                                   err);
        ptp_port_pd_hdl_get_all(handle, mem_class, ptp_ipv4_stream_id_port_hdl_get(handle, mem_class, stream, err),
                                &to.port, err);
        const en_address *mac = ptp_ipv4_stream_id_mac_addr_get(handle, mem_class, stream, err);
        std::memcpy(to.mac.data(), mac->octet, to.mac.size());
    }
    return all;
}

}  // namespace bench
