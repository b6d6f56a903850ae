#include "records/clock.h"

#include "records/records.h"

namespace bench {

const clock_values example_clock = {
    .modify = 1,
    .version = VELA_PTP_VERSION_2,
    .profile = VELA_PTP_PHASE_PROFILE_G8275_1,
    .default_ds =
        {
            .clock_id = {0xaa, 0xbb, 0xcc, 0xff, 0xfe, 0x00, 0x01, 0x10},
            .quality = {.clock_class = 165, .offset_scaled_log_var = 20061, .accuracy = 4},
            .number_ports = 12,
            .priority1 = 128,
            .priority2 = 127,
            .domain = 24,
            .two_step = 1,
            .slave_only = 1,
            .local_priority = 126,
        },
    .time_properties =
        {
            .utc_offset = 37,
            .utc_offset_valid = 1,
            .leap59 = 1,
            .leap61 = 1,
            .time_traceable = 1,
            .frequency_traceable = 1,
            .ptp_timescale = 1,
            .time_source = VELA_PTP_TIME_SOURCE_GPS,
            .v_port_index = 3,
        },
    .revertive = 1,
    .handle = 0x0102030405060708,
    .type = VELA_PTP_CFG_CLK_TYPE_BOUNDARY,
    .mode = VELA_PTP_CLOCK_MODE_BC_HYBRID,
    .warm_restart = 1,
    .network_type = VELA_PTP_HI_JITTER_NETWORK_TYPE,
    .tracking_type = VELA_PTP_FREQUENCY_TRACKING_TYPE,
};

ptp_clock *make_clock(vela_handle *handle, const clock_values &values) {
    u_int32 err = 0;
    ptp_clock *clock = ptp_clock_create(handle, mem_class);
    ptp_clock_set_all(handle, mem_class, clock, values.modify, values.version, values.profile, values.revertive,
                      values.handle, values.type, values.mode, values.warm_restart, values.network_type,
                      values.tracking_type, &err);
    const default_ds_values &ds = values.default_ds;
    ptp_clock_default_ds *data_set = ptp_clock_default_data_set_get(handle, mem_class, clock, &err);
    ptp_clock_default_ds_set_all(handle, mem_class, data_set, ds.number_ports, ds.priority1, ds.priority2, ds.domain,
                                 ds.two_step, ds.slave_only, ds.local_priority, &err);
    ptp_clock_identity_ptp_clk_id_set_mem(handle, mem_class,
                                          ptp_clock_default_ds_clk_id_get(handle, mem_class, data_set, &err),
                                          ds.clock_id.data(), ds.clock_id.size(), &err);
    ptp_clock_quality_set_all(handle, mem_class,
                              ptp_clock_default_ds_clock_quality_get(handle, mem_class, data_set, &err),
                              ds.quality.clock_class, ds.quality.offset_scaled_log_var, ds.quality.accuracy, &err);
    const time_properties_values &time = values.time_properties;
    ptp_clock_time_properties_data_set_set_all(
        handle, mem_class, ptp_clock_time_properties_get(handle, mem_class, clock, &err), time.utc_offset,
        time.utc_offset_valid, time.leap59, time.leap61, time.time_traceable, time.frequency_traceable,
        time.ptp_timescale, time.time_source, time.v_port_index, &err);
    require(err == 0, "make a clock");
    return clock;
}

clock_values read_clock(vela_handle *handle, ptp_clock *clock, u_int32 *err) {
    clock_values values;
    ptp_clock_get_all(handle, mem_class, clock, &values.modify, &values.version, &values.profile, &values.revertive,
                      &values.handle, &values.type, &values.mode, &values.warm_restart, &values.network_type,
                      &values.tracking_type, err);
    default_ds_values &ds = values.default_ds;
    ptp_clock_default_ds *data_set = ptp_clock_default_data_set_get(handle, mem_class, clock, err);
    ptp_clock_default_ds_get_all(handle, mem_class, data_set, &ds.number_ports, &ds.priority1, &ds.priority2,
                                 &ds.domain, &ds.two_step, &ds.slave_only, &ds.local_priority, err);
    ptp_clock_identity_ptp_clk_id_get_mem(handle, mem_class,
                                          ptp_clock_default_ds_clk_id_get(handle, mem_class, data_set, err),
                                          ds.clock_id.data(), ds.clock_id.size(), err);
    ptp_clock_quality_get_all(handle, mem_class,
                              ptp_clock_default_ds_clock_quality_get(handle, mem_class, data_set, err),
                              &ds.quality.clock_class, &ds.quality.offset_scaled_log_var, &ds.quality.accuracy, err);
    time_properties_values &time = values.time_properties;
    ptp_clock_time_properties_data_set_get_all(
        handle, mem_class, ptp_clock_time_properties_get(handle, mem_class, clock, err), &time.utc_offset,
        &time.utc_offset_valid, &time.leap59, &time.leap61, &time.time_traceable, &time.frequency_traceable,
        &time.ptp_timescale, &time.time_source, &time.v_port_index, err);
    return values;
}

}  // namespace bench
