"""The data model as the oracle knows it. It shares nothing with schema/, so that a slip in either shows."""

from typing import NamedTuple

# Integers and truth values: how they are packed, in network order.
NUMBERS = {
    "u_int8": ">B", "u_int16": ">H", "u_int32": ">I", "u_int64": ">Q",
    "int8": ">b", "int16": ">h", "int32": ">i", "vela_boolean": ">B",
}

# Primitives whose bytes travel as they lie in memory, and how many there are.
OCTETS = {"en_address": 6}

# Enumeration, then how many values each of its variants has; the values count from 0.
_ENUMERATIONS = """
ptp_clock_version 3
ptp_clock_type 7
ptp_port_role 4
ptp_clock_attr_type 4
ptp_clock_profile 5 6
ptp_clock_mode 9
ptp_clock_accuracy 19
ptp_clock_time_source 8
ptp_network_type 3
ptp_tracking_type 3 4
g8275_1_freq_category 4
ptp_v_port_type 3
ptp_port_delay_mechanism_val 3
ptp_stream_mode 4
ptp_updates_type 8
ptp_port_state 9
ptp_tod_format_type 6
vela_ptp_pulse_width_unit_type 4
ptp_port_tx_mode 4
ptp_port_encap_val 5
ptp_L2_transport_val 3
ptp_port_step_mode 3
ptp_engine_event 7
ptp_clk_state 5
ptp_1pps_inf_type 4
ptp_inf_con_type 3
ptp_clock_state 7
ptp_tod_src_type 4
"""

# Structure, bytes of an untracked and of a tracked instance; then its fields in order as NAME:TYPE, with [N] for
# an array of N elements and +V for a field that variant V added.
_STRUCTURES = """
ptp_clock_identity 32 41
    ptp_clk_id:u_int8[8]
ptp_clock_quality 40 43
    clock_class:u_int8 offset_scaled_log_var:int16 clock_accuracy:ptp_clock_accuracy
ptp_clock_default_ds 128 149
    clk_id:ptp_clock_identity clock_quality:ptp_clock_quality numberPorts:u_int16 priority1:u_int8
    priority2:u_int8 clk_domain:u_int8 two_step_flag:vela_boolean slv_only:vela_boolean local_priority:u_int8
ptp_clock_time_properties_data_set 72 81
    currentUtcOffset:int16 currentUtcOffsetValid:vela_boolean leap59:vela_boolean leap61:vela_boolean
    timeTraceable:vela_boolean frequencyTraceable:vela_boolean ptpTimescale:vela_boolean
    timeSource:ptp_clock_time_source v_port_index:u_int8+1
ptp_clock 352 394
    modify:vela_boolean clk_version:ptp_clock_version clk_profile:ptp_clock_profile
    default_data_set:ptp_clock_default_ds time_properties:ptp_clock_time_properties_data_set
    revertive_bmca:vela_boolean clock_handle:u_int64 clk_type:ptp_clock_type clk_mode:ptp_clock_mode
    warm_restart:vela_boolean network_type:ptp_network_type tracking_type:ptp_tracking_type
ptp_clock_params 72 80
    clock_id:u_int8 priority1:u_int8 priority2:u_int8 clock_quality:ptp_clock_quality local_priority:u_int8
ptp_clock_delete 24 25
    clock_id:u_int8
ptp_g8275_1_ql 48 53
    clk_handle:u_int8 v_port_index:u_int8 g8275_1_freq_cat:g8275_1_freq_category tod_state:vela_boolean
    pps_state:vela_boolean
ptp_port 288 316
    modify:vela_boolean encap:ptp_port_encap_val vrf:vrf_info clk_handle:u_int8 port_num:u_int16
    delay_mechanism:ptp_port_delay_mechanism_val ptp_version:ptp_clock_version max_foreign_records:u_int16
    acceptable_master_table_enabled:vela_boolean acceptable_master_table_length:u_int16 local_addr:ip_address
    mixed_mode:vela_boolean alternate_master:vela_boolean ucast_neg:ptp_unicast_negotiation
    local_mac_addr:en_address is_single_hop:vela_boolean port_role:ptp_port_role not_slave:vela_boolean
    local_priority:u_int8 port_name_size:u_int8 port_name:var_string
    acceptable_slave_table_enabled:vela_boolean+1
ptp_unicast_negotiation 48 55
    enabled:vela_boolean max_announce_rate:int8 max_announce_grant_secs:u_int32 max_sync_rate:int8
    max_sync_grant_secs:u_int32 max_delay_resp_rate:int8 max_delay_resp_grant_secs:u_int32
ptp_port_identity 64 75
    clock_identity:ptp_clock_identity portNumber:u_int16
ptp_port_delete 24 25
    port_id:u_int16
ptp_port_pd_hdl 24 25
    hdl:u_int16
ptp_port_time 104 110
    time:ptp_time port_number:u_int16
ptp_stream 176 193
    modify:vela_boolean port_handle:u_int8 stream_handle:u_int16 dest_addr:ip_address
    stream_mode:ptp_stream_mode unicast:vela_boolean log_announce_intrvl:int8 announce_receipt_timeout:u_int8
    log_sync_interval:int8 log_min_delay_req_interval:int8 unicast_negotiation_duration:u_int32
    num_ts_records:u_int16 local_priority:u_int32 encap:ptp_port_encap_val dest_mac_addr:en_address
    l2_tpt_type:ptp_L2_transport_val l2_tpt_val:u_int32
ptp_stream_params 112 119
    stream_id:u_int16 stream_addr:ip_address log_announce_interval:int8 log_sync_interval:int8
    log_min_delay_req_interval:int8 encap:ptp_port_encap_val stream_mac_addr:en_address
ptp_stream_delete 112 118
    stream_id:u_int16 stream_addr:ip_address encap:ptp_port_encap_val stream_mac_addr:en_address if_num:u_int16
    pd_port_hdl:u_int16+1
ptp_stream_port_data 40 44
    slot:u_int32 card:u_int32 port:u_int8 local_addr:u_int32
ptp_ipv4_stream_id 88 95
    stream_id:u_int32 port_hdl:ptp_port_pd_hdl addr:u_int32 state:u_int8 encap:ptp_port_encap_val
    mac_addr:en_address
ptp_ipv4_streams_arr 11296 12321
    streams:ptp_ipv4_stream_id[128]
ptp_ip_stream_id 136 143
    stream_id:u_int32 port_hdl:ptp_port_pd_hdl addr:ip_address state:u_int8 encap:ptp_port_encap_val
    mac_addr:en_address
ptp_ip_streams_arr 6832 7233
    streams:ptp_ip_stream_id[50]
ptp_clock_data_set 592 672
    default_ds:ptp_clock_default_ds current_data_set:ptp_clock_current_data_set
    parent_data_set:ptp_clock_parent_data_set time_properties_data_set:ptp_clock_time_properties_data_set
    local_time_properties_data_set:ptp_clock_time_properties_data_set
ptp_clock_current_data_set 96 101
    steps_removed:u_int16 offset_from_master:ptp_time_interval mean_path_delay:ptp_time_interval
ptp_clock_parent_data_set 192 223
    parent_port_identity:ptp_port_identity parent_stats:vela_boolean
    observed_parent_offset_scaled_log_variance:int16 observed_parent_clock_phase_change_rate:int32
    grandmaster_identity:ptp_clock_identity grandmaster_clock_quality:ptp_clock_quality
    grandmaster_priority1:u_int8 grandmaster_priority2:u_int8
ptp_port_data_set 184 206
    port_identity:ptp_port_identity port_state:ptp_port_state log_min_delay_req_interval:int8
    peer_mean_path_delay:ptp_time_interval log_announce_interval:int8 announce_receipt_timeout:u_int8
    log_sync_intrvl:int8 delay_mech:ptp_port_delay_mechanism_val log_min_pdelay_req_interval:int8
    versionNumber:u_int16
ptp_clock_runtime_state 64 68
    clock_state:ptp_clock_state ts:u_int64 pkts_sent:u_int64 pkts_rcvd:u_int64
ptp_port_runtime_state 72 77
    session_count:u_int32 port_state:ptp_port_state role:ptp_port_role pkts_sent:u_int64 pkts_rcvd:u_int64
ptp_stream_runtime_state 584 643
    stream_id:u_int32 port_hdl:ptp_port_pd_hdl addr:ip_address stats:ptp_msg_stats encap:ptp_port_encap_val
    mac_addr:en_address l2_tpt_type:ptp_L2_transport_val l2_tpt_val:u_int32
ptp_stream_runtime_state_arr 5872 6474
    cnt:u_int32 state:ptp_stream_runtime_state[10]
ptp_msg_stats 432 482
    %s
ptp_port_evt 56 58
    port_tx_mode:ptp_port_tx_mode port_role:ptp_port_role
ptp_bmc_compare_data 240 281
    grand_master_priority1:u_int8 grand_master_priority2:u_int8 grand_master_identity:ptp_clock_identity
    grand_master_quality:ptp_clock_quality steps_removed:u_int16 foreign_port_identity:ptp_port_identity
    receiving_port_identity:ptp_port_identity
ptp_foreign_master_record 280 326
    qualified:vela_boolean recv_updated:vela_boolean prev_msg_cnt:u_int16 curr_msg_cnt:u_int16
    compare_data:ptp_bmc_compare_data
ptp_master_attribute 160 184
    clk_id:ptp_clock_identity priority1:u_int8 priority2:u_int8 clock_class:u_int8 clock_accuracy:u_int8
    local_priority:u_int8 ptsf_status:u_int8 stream_hdl:u_int8 scaled_log_variance:u_int16 steps_removed:u_int8
    alarms_in_stream:u_int16 mst_ip:u_int32 encap:ptp_port_encap_val mst_mac:en_address mst_ip_ext:ip_address+1
ptp_bmca_current_mst_details 168 177
    curr_master:u_int32 prev_master:u_int32 updated:vela_boolean encap:ptp_port_encap_val
    curr_mst_mac:en_address prev_mst_mac:en_address curr_mst_stream_id:u_int16+1 curr_master_ext:ip_address+2
    prev_master_ext:ip_address+2
ptp_bmca_data 1808 2070
    mst_attr_arr:ptp_master_attribute[10] num_qualified_master:u_int8 curr_mst:ptp_bmca_current_mst_details
ptp_current_selected_master_info 160 165
    current_master_ip:ip_address previous_master_ip:ip_address encap:ptp_port_encap_val
    current_master_mac:en_address previous_master_mac:en_address
ptp_secs 32 34
    hi:u_int32 lo:u_int32
ptp_time 64 68
    sec:ptp_secs nsec:u_int32
ptp_time_interval 32 33
    scaledNanoseconds:u_int64
ptp_set_time_info 40 43
    delta_time_sec:u_int64 delta_time_nano_sec:u_int32 negative:vela_boolean
ptp_step_time_info 40 43
    delta_time_sec:u_int64 delta_time_nano_sec:u_int32 negative:vela_boolean
ptp_clock_tod_cfg 96 105
    slot:u_int32 card:u_int32 delay:u_int32 set:vela_boolean modify:vela_boolean input:vela_boolean
    format:ptp_tod_format_type ptp_tod_con:ptp_inf_con_type v_port_index:u_int8
ptp_tod_src_cfg 48 50
    ptp_tod_src:ptp_tod_src_type enable:vela_boolean
ptp_1pps_identity 32 34
    slot:u_int32 card:u_int32
ptp_1pps_output_attr 56 61
    offset:u_int32 offset_set:vela_boolean negative_set:vela_boolean pulse_width:u_int32
    pulse_width_unit:vela_ptp_pulse_width_unit_type
vela_ptp_1pps 184 198
    identity:ptp_1pps_identity clock_mode:ptp_clock_mode inf_type:ptp_1pps_inf_type enable_1pps:vela_boolean
    clock_attr_output_1pps:ptp_1pps_output_attr ptp_1pps_con:ptp_inf_con_type v_port_index:u_int8
ptp_virtual_port 144 160
    port_type:ptp_v_port_type modify:vela_boolean clk_handle:u_int8 v_port_index:u_int8 port_role:ptp_port_role
    clock_quality:ptp_clock_quality priority1:u_int8 priority2:u_int8 local_priority:u_int8 status:vela_boolean
    prtc_connected:vela_boolean time_set_flag:vela_boolean v_port_name_size:u_int8 v_port_name:var_string
ptp_virtual_port_del 24 26
    clk_handle:u_int8 v_port_index:u_int8
ptp_ptpd_reg_kerd 24 25
    ptp_stack_ver:u_int32
ptp_utc_offset 40 47
    utc_offset:u_int16 leap_second_offset:int16+1 leap_second_day:int16+1 leap_second_month:int16+1
    leap_second_year:int16+1 v_port_index:u_int8+2 utc_offset_valid:vela_boolean+2
ptp_burst_mode_enable 24 25
    is_burst_mode_enable:vela_boolean
ptp_auto_logging_disable 24 25
    is_auto_logging_disable:vela_boolean
ptp_acceptable_cc_threshold 24 25
    acceptable_cc_threshold:u_int8
ptp_is_freq_src_ok 24 25
    is_freq_src_ok:vela_boolean
ptp_utc_holdover_timeout 24 25
    utc_holdover_timeout:u_int16
ptp_master_prtc_only_cfg 24 25
    master_prtc_only_en:vela_boolean
ptp_hbc_master_always_on_cfg 24 25
    master_always_on:vela_boolean
ptp_hbc_holdover_timer_cfg 24 25
    holdover_timer:u_int32
""" % " ".join(
    f"{kind}_msg_{counter}:u_int64"
    for kind in ("sync", "del_req", "del_res", "pdel_req", "pdel_res", "follow_up", "pdel_follow_up", "ann", "sig",
                 "mgmt")
    for counter in ("tx_cnt", "rx_cnt", "err_tx_cnt", "err_rx_cnt", "err_cnt"))

# Message, identity, payload types in order; a payload has the name of its type.
_MESSAGES = """
ptp_clock_cfg_message 93215bd5b0203226a07b2cba59df4112 ptp_clock
ptp_port_cfg_message 23d67370349bea6cac4117ded00cb81c ptp_port
ptp_stream_cfg_message e99992243dcfff3ce0610b1f85949342 ptp_stream
ptp_virtual_port_cfg_message a9c3365741456a9047be01aa19e62537 ptp_virtual_port
ptp_virtual_port_delete_cmd_message bb4660ae08216d0c83cc582547a84173 ptp_virtual_port_del
ptp_g8275_1_ql_update_message 1f2f5b8071b6d1181176bc9e2bfb3be6 ptp_g8275_1_ql
ptp_v_port_status_update_message fef38a5529348583a4094c425da4c770 ptp_virtual_port
ptp_clock_modify_cmd_message 17f842fe934ae33310eaaa17d1e4407c ptp_clock_params
ptp_clock_delete_cmd_message 46b9bee60301de893a7a6a1146548092 ptp_clock_delete
ptp_port_delete_cmd_message 17f2f0c6c6356e5c08961210abd5767d ptp_port_delete
ptp_stream_modify_cmd_message 5cc896da9c6eaf200172372c4b50a85a ptp_stream_params
ptp_stream_delete_cmd_message 70273ec3f490efb5b87585c2c03a0aa9 ptp_stream_delete
ptp_port_time_cfg_message f6b2f4017a32adbe91a875cace2085a8 ptp_port_time
ptp_clk_data_set_message c047b446fd9be69a4713015aa235d134 ptp_clock_data_set
ptp_port_data_set_info_message 69d79fbef51adab6c43d30dab4341f20 ptp_port_pd_hdl ptp_port_data_set
ptp_current_selected_master_event_message eb009dbc213786f52fcd93c46ba3c92e ptp_current_selected_master_info
ptp_set_time_event_message 99f44fc3b37c29d8c2d86f0f04ff5ec3 ptp_set_time_info
ptp_step_time_event_message eb3895784d43232576e91ab39c2a6e87 ptp_step_time_info
ptp_1pps_cfg_message 25351bb7c202bfd8ef3b18dd659ec16c vela_ptp_1pps
ptp_ptpd_kerd_reg_msg_message f7e1dd8ba7af7183ac46934cf0e00633 ptp_ptpd_reg_kerd
ptp_clk_default_ds_msg_message e1250d929cc653bc4ef8fea79ce445a1 ptp_clock_default_ds
ptp_clk_current_ds_msg_message 40a3eb62097b0f3b7627c058145b6048 ptp_clock_current_data_set
ptp_clk_parent_ds_msg_message 1c10b10661dfbfcaefb62352365c42ef ptp_clock_parent_data_set
ptp_clk_time_properties_ds_msg_message 2a0256e9b0561188cf2325e332dd6976 ptp_clock_time_properties_data_set
ptp_clk_local_time_properties_ds_msg_message edfebde01799eae08bdbd9f9d2b0037c ptp_clock_time_properties_data_set
ptp_foreign_master_record_msg_message d7b3f06b120ba397329bc380f621d1e1 ptp_foreign_master_record
ptp_clock_runtime_state_msg_message c66595551932eb1f946a1306975ee50c ptp_clock_runtime_state
ptp_port_runtime_state_msg_message 3613fb91703a91d9ad1e0adacc2fb7b4 ptp_port_pd_hdl ptp_port_runtime_state
ptp_clock_tod_cmd_message 587bdc4765aa39acc2b05b95e5f103f5 ptp_clock_tod_cfg
ptp_stream_runtime_state_msg_message be19462732081286c19285d1109055e5 ptp_stream_runtime_state_arr
ptp_ipv4_streams_list_msg_message c01642221b64f19f21b3d1c46cb426da ptp_ipv4_streams_arr
ptp_ip_streams_list_msg_message 1f443e83528b556b779c9d0775cc986e ptp_ip_streams_arr
ptp_current_master_details_message 7e69f4c4e93b00070964a38b86298335 ptp_bmca_current_mst_details
ptp_bmca_data_msg_message a87abf98604602a3ea6dd05d8b6bd593 ptp_bmca_data
ptp_tod_src_msg_message 5a7f35efbd7cec77cd4cfa0a6fb9d86d ptp_tod_src_cfg
ptp_1pps_input_state_message 221806e60685865459a77166d23f6a22 vela_boolean
ptp_tod_input_state_message e2a87183d093f096dc120285532f7d4c vela_boolean
ptp_stream_port_message 38e619f7ae0f83a4d6cf9366defeef2f ptp_stream_port_data
ptp_acceptable_cc_threshold_cmd_message de356c2e6c178c2f3c021d5e255c53a9 ptp_acceptable_cc_threshold
ptp_utc_offset_cmd_message 5ca3f4efac7f0cdb49b0a9287bb27b32 ptp_utc_offset
ptp_utc_holdover_timeout_cmd_message cc8e71976894fdbb652f51a37e801970 ptp_utc_holdover_timeout
ptp_is_freq_src_ok_cmd_message c46c6a0f514bebe2eea91feb71f8ea49 ptp_is_freq_src_ok
ptp_burst_mode_enable_cmd_message 9ca3f68822c8d6d4c5789f3327e2c138 ptp_burst_mode_enable
ptp_auto_logging_disable_cmd_message 99d67d8d68c6d10cd04288fe8b149081 ptp_auto_logging_disable
ptp_master_prtc_only_cmd_message 342baa566e488433d5aa066e0133bf75 ptp_master_prtc_only_cfg
ptp_hbc_master_always_on_cmd_message f0033295ea830b105da0da30397778ea ptp_hbc_master_always_on_cfg
ptp_hbc_holdover_timer_cmd_message 39d5eb273cef99deab731d0bf5af9935 ptp_hbc_holdover_timer_cfg
"""


class Field(NamedTuple):
    name: str
    type: str
    since: int
    capacity: int    # elements of an array, 0 for a single value
    length_of: str   # name of the text whose length this field holds, else ""


class Structure(NamedTuple):
    size: int
    tracked_size: int
    fields: list


class Message(NamedTuple):
    luid: bytes
    payloads: list


def _field(text, following):
    name, kind = text.split(":")
    kind, _, since = kind.partition("+")
    kind, _, capacity = kind.rstrip("]").partition("[")
    is_length = following == name.removesuffix("_size") + ":var_string"
    return Field(name, kind, int(since or 0), int(capacity or 0), name.removesuffix("_size") if is_length else "")


def _structures():
    rows = []
    for line in _STRUCTURES.strip().splitlines():
        if line.startswith(" "):
            rows[-1][1].extend(line.split())
        else:
            rows.append((line.split(), []))
    return {name: Structure(int(size), int(tracked), [_field(*pair) for pair in zip(fields, fields[1:] + [""])])
            for (name, size, tracked), fields in rows}


def _enumerations():
    rows = (line.split() for line in _ENUMERATIONS.strip().splitlines())
    return {name: [int(count) for count in counts] for name, *counts in rows}


def _messages():
    rows = (line.split() for line in _MESSAGES.strip().splitlines())
    return {name: Message(bytes.fromhex(luid), payloads) for name, luid, *payloads in rows}


STRUCTURES = _structures()
ENUMERATIONS = _enumerations()
MESSAGES = _messages()


def latest(name):
    """The latest variant of a type; messages and primitives have only variant 0."""
    if name in ENUMERATIONS:
        return len(ENUMERATIONS[name]) - 1
    return max((field.since for field in STRUCTURES[name].fields), default=0) if name in STRUCTURES else 0


def parts(name):
    """A type and every structure and enumeration inside it, in order of first appearance."""
    found = {name: None}
    inner = [field.type for field in STRUCTURES[name].fields] if name in STRUCTURES else []
    for part in MESSAGES[name].payloads if name in MESSAGES else inner:
        if part in STRUCTURES or part in ENUMERATIONS:
            found.update(dict.fromkeys(parts(part)))
    return list(found)
