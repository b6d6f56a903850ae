// How a list of streams is filled and read.
#pragma once

#include <cstring>

#include "records/stream_list.h"

namespace bench {

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
