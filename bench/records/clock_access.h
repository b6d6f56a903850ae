// How a clock is filled and read.
#pragma once

#include "records/clock.h"
namespace bench {

template <class Way>
void clock_record<Way>::fill(vela_handle *handle, instance *clock, const values &from, u_int32 *err) {
    ptp_clock_set_all(handle, mem_class, clock, from.modify, from.version, from.profile, from.revertive, from.handle,
                      from.type, from.mode, from.warm_restart, from.network_type, from.tracking_type, err);
    const default_ds_values &ds = from.default_ds;
    ptp_clock_default_ds *data_set = ptp_clock_default_data_set_get(handle, mem_class, clock, err);
    ptp_clock_default_ds_set_all(handle, mem_class, data_set, ds.number_ports, ds.priority1, ds.priority2, ds.domain,
                                 ds.two_step, ds.slave_only, ds.local_priority, err);
    ptp_clock_identity_ptp_clk_id_set_mem(handle, mem_class,
                                          ptp_clock_default_ds_clk_id_get(handle, mem_class, data_set, err),
                                          ds.clock_id.data(), ds.clock_id.size(), err);
    ptp_clock_quality_set_all(handle, mem_class,
                              ptp_clock_default_ds_clock_quality_get(handle, mem_class, data_set, err),
                              ds.quality.clock_class, ds.quality.offset_scaled_log_var, ds.quality.accuracy, err);
    const time_properties_values &time = from.time_properties;
    ptp_clock_time_properties_data_set_set_all(
        handle, mem_class, ptp_clock_time_properties_get(handle, mem_class, clock, err), time.utc_offset,
        time.utc_offset_valid, time.leap59, time.leap61, time.time_traceable, time.frequency_traceable,
        time.ptp_timescale, time.time_source, time.v_port_index, err);
    if (*err == VELA_EEPOCH) {  // an older record has no virtual port; numbers are set before enumerations
        *err = 0;
        ptp_clock_time_properties_data_set_timeSource_set_value(
            handle, mem_class, ptp_clock_time_properties_get(handle, mem_class, clock, err), time.time_source, err);
    }
}

template <class Way>
auto clock_record<Way>::read(vela_handle *handle, instance *clock, u_int32 *err) -> values {
    values to;
    ptp_clock_get_all(handle, mem_class, clock, &to.modify, &to.version, &to.profile, &to.revertive, &to.handle,
                      &to.type, &to.mode, &to.warm_restart, &to.network_type, &to.tracking_type, err);
    default_ds_values &ds = to.default_ds;
    ptp_clock_default_ds *data_set = ptp_clock_default_data_set_get(handle, mem_class, clock, err);
    ptp_clock_default_ds_get_all(handle, mem_class, data_set, &ds.number_ports, &ds.priority1, &ds.priority2,
                                 &ds.domain, &ds.two_step, &ds.slave_only, &ds.local_priority, err);
    ptp_clock_identity_ptp_clk_id_get_mem(handle, mem_class,
                                          ptp_clock_default_ds_clk_id_get(handle, mem_class, data_set, err),
                                          ds.clock_id.data(), ds.clock_id.size(), err);
    ptp_clock_quality_get_all(handle, mem_class,
                              ptp_clock_default_ds_clock_quality_get(handle, mem_class, data_set, err),
                              &ds.quality.clock_class, &ds.quality.offset_scaled_log_var, &ds.quality.accuracy, err);
    time_properties_values &time = to.time_properties;
    ptp_clock_time_properties_data_set_get_all(
        handle, mem_class, ptp_clock_time_properties_get(handle, mem_class, clock, err), &time.utc_offset,
        &time.utc_offset_valid, &time.leap59, &time.leap61, &time.time_traceable, &time.frequency_traceable,
        &time.ptp_timescale, &time.time_source, &time.v_port_index, err);
    return to;
}

template <class Way>
auto clock_record<Way>::read_by_field(vela_handle *handle, instance *clock, u_int32 *err) -> values {
    values to;
    to.modify = ptp_clock_modify_get_value(handle, mem_class, clock, err);
    to.version = ptp_clock_clk_version_get_value(handle, mem_class, clock, err);
    to.profile = ptp_clock_clk_profile_get_value(handle, mem_class, clock, err);
    to.revertive = ptp_clock_revertive_bmca_get_value(handle, mem_class, clock, err);
    to.handle = ptp_clock_clock_handle_get_value(handle, mem_class, clock, err);
    to.type = ptp_clock_clk_type_get_value(handle, mem_class, clock, err);
    to.mode = ptp_clock_clk_mode_get_value(handle, mem_class, clock, err);
    to.warm_restart = ptp_clock_warm_restart_get_value(handle, mem_class, clock, err);
    to.network_type = ptp_clock_network_type_get_value(handle, mem_class, clock, err);
    to.tracking_type = ptp_clock_tracking_type_get_value(handle, mem_class, clock, err);

    default_ds_values &ds = to.default_ds;
    ptp_clock_default_ds *data_set = ptp_clock_default_data_set_get(handle, mem_class, clock, err);
    ptp_clock_identity *identity = ptp_clock_default_ds_clk_id_get(handle, mem_class, data_set, err);
    for (u_int32 i = 0; i < ds.clock_id.size(); ++i) {
        ds.clock_id[i] = ptp_clock_identity_ptp_clk_id_get_value(handle, mem_class, identity, i, err);
    }
    ptp_clock_quality *quality = ptp_clock_default_ds_clock_quality_get(handle, mem_class, data_set, err);
    ds.quality.clock_class = ptp_clock_quality_clock_class_get_value(handle, mem_class, quality, err);
    ds.quality.offset_scaled_log_var =
        ptp_clock_quality_offset_scaled_log_var_get_value(handle, mem_class, quality, err);
    ds.quality.accuracy = ptp_clock_quality_clock_accuracy_get_value(handle, mem_class, quality, err);
    ds.number_ports = ptp_clock_default_ds_numberPorts_get_value(handle, mem_class, data_set, err);
    ds.priority1 = ptp_clock_default_ds_priority1_get_value(handle, mem_class, data_set, err);
    ds.priority2 = ptp_clock_default_ds_priority2_get_value(handle, mem_class, data_set, err);
    ds.domain = ptp_clock_default_ds_clk_domain_get_value(handle, mem_class, data_set, err);
    ds.two_step = ptp_clock_default_ds_two_step_flag_get_value(handle, mem_class, data_set, err);
    ds.slave_only = ptp_clock_default_ds_slv_only_get_value(handle, mem_class, data_set, err);
    ds.local_priority = ptp_clock_default_ds_local_priority_get_value(handle, mem_class, data_set, err);

    time_properties_values &time = to.time_properties;
    ptp_clock_time_properties_data_set *properties = ptp_clock_time_properties_get(handle, mem_class, clock, err);
    time.utc_offset = ptp_clock_time_properties_data_set_currentUtcOffset_get_value(handle, mem_class, properties, err);
    time.utc_offset_valid =
        ptp_clock_time_properties_data_set_currentUtcOffsetValid_get_value(handle, mem_class, properties, err);
    time.leap59 = ptp_clock_time_properties_data_set_leap59_get_value(handle, mem_class, properties, err);
    time.leap61 = ptp_clock_time_properties_data_set_leap61_get_value(handle, mem_class, properties, err);
    time.time_traceable =
        ptp_clock_time_properties_data_set_timeTraceable_get_value(handle, mem_class, properties, err);
    time.frequency_traceable =
        ptp_clock_time_properties_data_set_frequencyTraceable_get_value(handle, mem_class, properties, err);
    time.ptp_timescale = ptp_clock_time_properties_data_set_ptpTimescale_get_value(handle, mem_class, properties, err);
    time.time_source = ptp_clock_time_properties_data_set_timeSource_get_value(handle, mem_class, properties, err);
    time.v_port_index = ptp_clock_time_properties_data_set_v_port_index_get_value(handle, mem_class, properties, err);
    return to;
}

}  // namespace bench
