// The values of the clock record that every contender carries, and the record made of them.
#pragma once

#include <array>

#include "records/access.h"
#include "records/records.h"

namespace bench {

struct clock_quality_values {
    u_int8 clock_class;
    int16 offset_scaled_log_var;
    u_int32 accuracy;
    bool operator==(const clock_quality_values &) const = default;
};

struct default_ds_values {
    std::array<u_int8, 8> clock_id;
    clock_quality_values quality;
    u_int16 number_ports;
    u_int8 priority1;
    u_int8 priority2;
    u_int8 domain;
    vela_boolean two_step;
    vela_boolean slave_only;
    u_int8 local_priority;
    bool operator==(const default_ds_values &) const = default;
};

struct time_properties_values {
    int16 utc_offset;
    vela_boolean utc_offset_valid;
    vela_boolean leap59;
    vela_boolean leap61;
    vela_boolean time_traceable;
    vela_boolean frequency_traceable;
    vela_boolean ptp_timescale;
    u_int32 time_source;
    u_int8 v_port_index;
    bool operator==(const time_properties_values &) const = default;
};

struct clock_values {
    vela_boolean modify;
    u_int32 version;
    u_int32 profile;
    default_ds_values default_ds;
    time_properties_values time_properties;
    vela_boolean revertive;
    u_int64 handle;
    u_int32 type;
    u_int32 mode;
    vela_boolean warm_restart;
    u_int32 network_type;
    u_int32 tracking_type;
    bool operator==(const clock_values &) const = default;
};

/** A boundary clock that follows a grandmaster; no value is the default. */
extern const clock_values example_clock;

/** Bytes of the record's encoding. */
constexpr u_int32 clock_width = 109;

/** The clock as the scenarios of records see it; filled and read by calls or by inline forms. */
template <class Way = access_way>
struct clock_record {
    BENCH_FUNCTIONS_OF(ptp_clock)
    using values = clock_values;
    static constexpr u_int32 width = clock_width;
    static constexpr u_int32 text_room = 8192;
    static const values &example() { return example_clock; }
    /** Sets every field. */
    static void fill(vela_handle *handle, instance *clock, const values &from, u_int32 *err);
    /** Reads every field by the accessors for whole records. */
    static values read(vela_handle *handle, instance *clock, u_int32 *err);
    /** Reads every field by an accessor of its own. */
    static values read_by_field(vela_handle *handle, instance *clock, u_int32 *err);
};

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
