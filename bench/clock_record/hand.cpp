// The clock record's encoding written by hand: one bounds check, then stores or loads one after the other.
#include "records/hand.h"

namespace bench {
namespace {

using namespace hand;

void put_clock(u_int8 *out, const ptp_clock_values &clock) {
    out = put_header(out, 0, clock_record<>::width);
    out = put_boolean(out, clock.modify);
    out = put_enumeration(out, 0, clock.clk_version);
    out = put_enumeration(out, 1, clock.clk_profile);

    const ptp_clock_default_ds_values &ds = clock.default_data_set;
    out = put_header(out, 0, 42);
    out = put_header(out, 0, 14);
    out = put_octets(out, ds.clk_id);
    out = put_header(out, 0, 14);
    out = put(out, ds.clock_quality.clock_class);
    out = put(out, ds.clock_quality.offset_scaled_log_var);
    out = put_enumeration(out, 0, ds.clock_quality.clock_accuracy);
    out = put(out, ds.numberPorts);
    out = put(out, ds.priority1);
    out = put(out, ds.priority2);
    out = put(out, ds.clk_domain);
    out = put_boolean(out, ds.two_step_flag);
    out = put_boolean(out, ds.slv_only);
    out = put(out, ds.local_priority);

    const ptp_clock_time_properties_data_set_values &time = clock.time_properties;
    out = put_header(out, 1, 20);
    out = put(out, time.currentUtcOffset);
    out = put_boolean(out, time.currentUtcOffsetValid);
    out = put_boolean(out, time.leap59);
    out = put_boolean(out, time.leap61);
    out = put_boolean(out, time.timeTraceable);
    out = put_boolean(out, time.frequencyTraceable);
    out = put_boolean(out, time.ptpTimescale);
    out = put_enumeration(out, 0, time.timeSource);
    out = put(out, time.v_port_index);

    out = put_boolean(out, clock.revertive_bmca);
    out = put(out, clock.clock_handle);
    out = put_enumeration(out, 0, clock.clk_type);
    out = put_enumeration(out, 0, clock.clk_mode);
    out = put_boolean(out, clock.warm_restart);
    out = put_enumeration(out, 0, clock.network_type);
    put_enumeration(out, 1, clock.tracking_type);
}

void take_clock(const u_int8 *in, ptp_clock_values &clock) {
    in += header_width;
    in = take_boolean(in, clock.modify);
    in = take_enumeration(in, clock.clk_version);
    in = take_enumeration(in, clock.clk_profile);

    ptp_clock_default_ds_values &ds = clock.default_data_set;
    in += header_width + header_width;
    in = take_octets(in, ds.clk_id) + header_width;
    in = take(in, ds.clock_quality.clock_class);
    in = take(in, ds.clock_quality.offset_scaled_log_var);
    in = take_enumeration(in, ds.clock_quality.clock_accuracy);
    in = take(in, ds.numberPorts);
    in = take(in, ds.priority1);
    in = take(in, ds.priority2);
    in = take(in, ds.clk_domain);
    in = take_boolean(in, ds.two_step_flag);
    in = take_boolean(in, ds.slv_only);
    in = take(in, ds.local_priority);

    ptp_clock_time_properties_data_set_values &time = clock.time_properties;
    in += header_width;
    in = take(in, time.currentUtcOffset);
    in = take_boolean(in, time.currentUtcOffsetValid);
    in = take_boolean(in, time.leap59);
    in = take_boolean(in, time.leap61);
    in = take_boolean(in, time.timeTraceable);
    in = take_boolean(in, time.frequencyTraceable);
    in = take_boolean(in, time.ptpTimescale);
    in = take_enumeration(in, time.timeSource);
    in = take(in, time.v_port_index);

    in = take_boolean(in, clock.revertive_bmca);
    in = take(in, clock.clock_handle);
    in = take_enumeration(in, clock.clk_type);
    in = take_enumeration(in, clock.clk_mode);
    in = take_boolean(in, clock.warm_restart);
    in = take_enumeration(in, clock.network_type);
    take_enumeration(in, clock.tracking_type);
}

const contender entry = make_contender<clock_record<>, put_clock, take_clock>();

}  // namespace
}  // namespace bench
