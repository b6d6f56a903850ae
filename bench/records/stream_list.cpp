#include "records/stream_list.h"

#include <cstring>

#include "records/records.h"

namespace bench {
namespace {

stream_list_values make_example() {
    stream_list_values values{};
    u_int32 number = 1;
    for (stream_values &stream : values) {
        stream.stream_id = 0x20000 + number;
        stream.port = static_cast<u_int16>(300 + number);
        stream.address = 0xc0a80000 + number;
        stream.state = static_cast<u_int8>(1 + number % 4);
        stream.encapsulation = VELA_PTP_CFG_PORT_ENCAP_IPV4;
        stream.mac = {0x02, 0x00, 0x5e, 0x11, static_cast<u_int8>(number), 0x21};
        ++number;
    }
    return values;
}

}  // namespace

const stream_list_values &example_stream_list() {
    static const stream_list_values values = make_example();
    return values;
}

void fill_stream_list(vela_handle *handle, ptp_ipv4_streams_arr *list, const stream_list_values &values, u_int32 *err) {
    for (u_int32 i = 0; i < values.size(); ++i) {
        const stream_values &from = values[i];
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

ptp_ipv4_streams_arr *make_stream_list(vela_handle *handle, const stream_list_values &values) {
    u_int32 err = 0;
    ptp_ipv4_streams_arr *list = ptp_ipv4_streams_arr_create(handle, mem_class);
    fill_stream_list(handle, list, values, &err);
    require(err == 0, "make a stream list");
    return list;
}

const stream_list_values &read_stream_list(vela_handle *handle, ptp_ipv4_streams_arr *list, u_int32 *err) {
    static stream_list_values values;
    for (u_int32 i = 0; i < values.size(); ++i) {
        stream_values &to = values[i];
        auto *stream = ptp_ipv4_streams_arr_streams_get(handle, mem_class, list, i, err);
        ptp_ipv4_stream_id_get_all(handle, mem_class, stream, &to.stream_id, &to.address, &to.state, &to.encapsulation,
                                   err);
        ptp_port_pd_hdl_get_all(handle, mem_class, ptp_ipv4_stream_id_port_hdl_get(handle, mem_class, stream, err),
                                &to.port, err);
        const en_address *mac = ptp_ipv4_stream_id_mac_addr_get(handle, mem_class, stream, err);
        std::memcpy(to.mac.data(), mac->octet, to.mac.size());
    }
    return values;
}

}  // namespace bench
