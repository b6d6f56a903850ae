// Fills the messages in which the daemon reports.
#include "reports.h"

#include <arpa/inet.h>

#include <cstdio>
#include <cstring>

namespace demo {

namespace {

constexpr u_int32 stream_count = 10;
constexpr u_int16 slave_port = 1;
/** 192.0.2.0/24 is set aside for examples. */
constexpr u_int8 example_network[3] = {192, 0, 2};

ip_address peer_address(u_int32 host) {
    ip_address address{};
    address.family = VELA_IP_V4;
    std::memcpy(address.bytes, example_network, sizeof example_network);
    address.bytes[3] = static_cast<u_int8>(host);
    return address;
}

/** The master that won: stream 1, class 6, two hops away. */
void fill_parent(vela_handle *handle, ptp_clock_parent_data_set *parent, u_int32 *err) {
    const u_int8 grandmaster[8] = {0x00, 0x1B, 0x19, 0xFF, 0xFE, 0x00, 0x00, 0x01};
    auto *identity = ptp_clock_parent_data_set_grandmaster_identity_get(handle, mem_class, parent, err);
    ptp_clock_identity_ptp_clk_id_set_mem(handle, mem_class, identity, grandmaster, sizeof grandmaster, err);
    auto *quality = ptp_clock_parent_data_set_grandmaster_clock_quality_get(handle, mem_class, parent, err);
    ptp_clock_quality_set_all(handle, mem_class, quality, 6, 0x4E5D, VELA_PTP_CLOCK_ACCURACY_WITHIN_100ns, err);
    ptp_clock_parent_data_set_grandmaster_priority1_set_value(handle, mem_class, parent, 128, err);
    ptp_clock_parent_data_set_grandmaster_priority2_set_value(handle, mem_class, parent, 1, err);
}

void fill_data_sets(vela_handle *handle, ptp_clock_data_set *sets, ptp_clock_default_ds *default_ds, u_int32 *err) {
    ptp_clock_data_set_default_ds_set(handle, mem_class, sets, default_ds, err);
    auto *current = ptp_clock_data_set_current_data_set_get(handle, mem_class, sets, err);
    ptp_clock_current_data_set_steps_removed_set_value(handle, mem_class, current, 2, err);
    auto *delay = ptp_clock_current_data_set_mean_path_delay_get(handle, mem_class, current, err);
    // 1500 ns, scaled by 2^16 as IEEE 1588 does.
    ptp_time_interval_scaledNanoseconds_set_value(handle, mem_class, delay, u_int64{1500} << 16, err);
    fill_parent(handle, ptp_clock_data_set_parent_data_set_get(handle, mem_class, sets, err), err);
}

void fill_port(vela_handle *handle, ptp_port_data_set *port, u_int32 *err) {
    auto *identity = ptp_port_data_set_port_identity_get(handle, mem_class, port, err);
    ptp_port_identity_portNumber_set_value(handle, mem_class, identity, slave_port, err);
    // logarithms to base 2: 8 Announce, 16 Sync and Delay_Req messages a second, as G.8275.1 has them
    ptp_port_data_set_set_all(handle, mem_class, port, VELA_PTP_PORT_STATE_SLAVE, -4, -3, 3, -4,
                              VELA_PTP_DELAY_MECHANISM_E2E, 0, 2, err);
}

void fill_stream(vela_handle *handle, ptp_stream_runtime_state *stream, u_int32 number, u_int32 *err) {
    const ip_address address = peer_address(number);
    ptp_stream_runtime_state_stream_id_set_value(handle, mem_class, stream, number, err);
    ptp_stream_runtime_state_addr_set(handle, mem_class, stream, &address, err);
    auto *stats = ptp_stream_runtime_state_stats_get(handle, mem_class, stream, err);
    ptp_msg_stats_sync_msg_rx_cnt_set_value(handle, mem_class, stats, 16u * 60 * number, err);
    ptp_msg_stats_ann_msg_rx_cnt_set_value(handle, mem_class, stats, 8u * 60 * number, err);
    ptp_msg_stats_del_req_msg_tx_cnt_set_value(handle, mem_class, stats, 16u * 60 * number, err);
}

void fill_streams(vela_handle *handle, ptp_stream_runtime_state_arr *streams, u_int32 *err) {
    ptp_stream_runtime_state_arr_cnt_set_value(handle, mem_class, streams, stream_count, err);
    for (u_int32 i = 0; i < stream_count; ++i) {
        fill_stream(handle, ptp_stream_runtime_state_arr_state_get(handle, mem_class, streams, i, err), i + 1, err);
    }
}

void fill_selected(vela_handle *handle, ptp_current_selected_master_info *info, u_int32 *err) {
    const ip_address now = peer_address(1);
    const ip_address before = peer_address(2);
    ptp_current_selected_master_info_current_master_ip_set(handle, mem_class, info, &now, err);
    ptp_current_selected_master_info_previous_master_ip_set(handle, mem_class, info, &before, err);
    ptp_current_selected_master_info_encap_set_value(handle, mem_class, info, VELA_PTP_CFG_PORT_ENCAP_IPV4, err);
}

/** Marshals a message into the open bundle and destroys it. */
void pack(vela_handle *handle, const char *name, void *message, u_int32 *err) {
    ptp_cfg_type_description type{};
    type.size = sizeof type;
    ptp_cfg_type_describe(ptp_cfg_type_find(name), &type);
    vela_bundle_add(handle, mem_class, type.operations->marshal, message, err);
    type.operations->destroy(handle, mem_class, message);
}

}  // namespace

void report_state(vela_handle *handle, vela_channel *channel, ptp_clock_default_ds *default_ds) {
    u_int32 err = 0;
    vela_bundle *bundle = vela_bundle_open(handle, mem_class, 65536, &err);

    auto *sets = ptp_clk_data_set_message_create(handle, mem_class);
    fill_data_sets(handle, ptp_clk_data_set_message_ptp_clock_data_set_get(handle, mem_class, sets, &err), default_ds,
                   &err);
    pack(handle, "ptp_clk_data_set", sets, &err);

    auto *port = ptp_port_data_set_info_message_create(handle, mem_class);
    auto *platform = ptp_port_data_set_info_message_ptp_port_pd_hdl_get(handle, mem_class, port, &err);
    ptp_port_pd_hdl_hdl_set_value(handle, mem_class, platform, slave_port, &err);
    fill_port(handle, ptp_port_data_set_info_message_ptp_port_data_set_get(handle, mem_class, port, &err), &err);
    pack(handle, "ptp_port_data_set_info", port, &err);

    auto *streams = ptp_stream_runtime_state_msg_message_create(handle, mem_class);
    fill_streams(
        handle, ptp_stream_runtime_state_msg_message_ptp_stream_runtime_state_arr_get(handle, mem_class, streams, &err),
        &err);
    pack(handle, "ptp_stream_runtime_state_msg", streams, &err);

    auto *selected = ptp_current_selected_master_event_message_create(handle, mem_class);
    fill_selected(handle,
                  ptp_current_selected_master_event_message_ptp_current_selected_master_info_get(handle, mem_class,
                                                                                                 selected, &err),
                  &err);
    pack(handle, "ptp_current_selected_master_event", selected, &err);

    const u_int8 *bytes = nullptr;
    u_int32 length = 0;
    vela_bundle_close(handle, &bytes, &length, &err);
    check(err, "pack the reports");
    say("sending data sets, port, streams and selected master: one bundle of " + std::to_string(length) + " bytes");
    vela_channel_reply(channel, bytes, length, &err);
    vela_bundle_destroy(bundle);
    check(err, "send the reports");
}

void show_streams(vela_handle *handle, ptp_stream_runtime_state_msg_message *message) {
    u_int32 err = 0;
    auto *streams =
        ptp_stream_runtime_state_msg_message_ptp_stream_runtime_state_arr_get(handle, mem_class, message, &err);
    const u_int32 count = ptp_stream_runtime_state_arr_cnt_get_value(handle, mem_class, streams, &err);
    std::string text;
    for (u_int32 i = 0; i < count && err == 0; ++i) {
        auto *stream = ptp_stream_runtime_state_arr_state_get(handle, mem_class, streams, i, &err);
        auto *stats = ptp_stream_runtime_state_stats_get(handle, mem_class, stream, &err);
        const auto *address = ptp_stream_runtime_state_addr_get(handle, mem_class, stream, &err);
        check(err, "read a stream");
        char peer[INET_ADDRSTRLEN] = "";
        inet_ntop(AF_INET, address->bytes, peer, sizeof peer);
        text += "stream " +
                std::to_string(ptp_stream_runtime_state_stream_id_get_value(handle, mem_class, stream, &err)) +
                " with " + peer + ": Sync received " +
                std::to_string(ptp_msg_stats_sync_msg_rx_cnt_get_value(handle, mem_class, stats, &err)) +
                ", Announce received " +
                std::to_string(ptp_msg_stats_ann_msg_rx_cnt_get_value(handle, mem_class, stats, &err)) +
                ", Delay_Req sent " +
                std::to_string(ptp_msg_stats_del_req_msg_tx_cnt_get_value(handle, mem_class, stats, &err)) + "\n";
    }
    check(err, "read the streams");
    show(text);
}

}  // namespace demo
