// The clock record's encoding written by hand: one bounds check, then stores or loads one after the other.
#include "records/hand.h"

#include "records/clock.h"
#include "records/record.h"

namespace bench {
namespace {

using namespace hand;

[[gnu::noipa]] u_int32 encode_clock(u_int8 *out, u_int32 room, const clock_values &clock) {
    if (room < clock_width) {
        return 0;
    }
    out = put_header(out, 0, clock_width);
    out = put_boolean(out, clock.modify);
    out = put_enumeration(out, 0, clock.version);
    out = put_enumeration(out, 1, clock.profile);

    const default_ds_values &ds = clock.default_ds;
    out = put_header(out, 0, 42);
    out = put_header(out, 0, 14);
    std::memcpy(out, ds.clock_id.data(), ds.clock_id.size());
    out = put_header(out + ds.clock_id.size(), 0, 14);
    out = put(out, ds.quality.clock_class);
    out = put(out, ds.quality.offset_scaled_log_var);
    out = put_enumeration(out, 0, ds.quality.accuracy);
    out = put(out, ds.number_ports);
    out = put(out, ds.priority1);
    out = put(out, ds.priority2);
    out = put(out, ds.domain);
    out = put_boolean(out, ds.two_step);
    out = put_boolean(out, ds.slave_only);
    out = put(out, ds.local_priority);

    const time_properties_values &time = clock.time_properties;
    out = put_header(out, 1, 20);
    out = put(out, time.utc_offset);
    out = put_boolean(out, time.utc_offset_valid);
    out = put_boolean(out, time.leap59);
    out = put_boolean(out, time.leap61);
    out = put_boolean(out, time.time_traceable);
    out = put_boolean(out, time.frequency_traceable);
    out = put_boolean(out, time.ptp_timescale);
    out = put_enumeration(out, 0, time.time_source);
    out = put(out, time.v_port_index);

    out = put_boolean(out, clock.revertive);
    out = put(out, clock.handle);
    out = put_enumeration(out, 0, clock.type);
    out = put_enumeration(out, 0, clock.mode);
    out = put_boolean(out, clock.warm_restart);
    out = put_enumeration(out, 0, clock.network_type);
    put_enumeration(out, 1, clock.tracking_type);
    return clock_width;
}

[[gnu::noipa]] u_int32 decode_clock(const u_int8 *in, u_int32 length, clock_values &clock) {
    if (length < clock_width) {
        return 0;
    }
    in += header_width;
    in = take_boolean(in, clock.modify);
    in = take_enumeration(in, clock.version);
    in = take_enumeration(in, clock.profile);

    default_ds_values &ds = clock.default_ds;
    in += header_width + header_width;
    std::memcpy(ds.clock_id.data(), in, ds.clock_id.size());
    in += ds.clock_id.size() + header_width;
    in = take(in, ds.quality.clock_class);
    in = take(in, ds.quality.offset_scaled_log_var);
    in = take_enumeration(in, ds.quality.accuracy);
    in = take(in, ds.number_ports);
    in = take(in, ds.priority1);
    in = take(in, ds.priority2);
    in = take(in, ds.domain);
    in = take_boolean(in, ds.two_step);
    in = take_boolean(in, ds.slave_only);
    in = take(in, ds.local_priority);

    time_properties_values &time = clock.time_properties;
    in += header_width;
    in = take(in, time.utc_offset);
    in = take_boolean(in, time.utc_offset_valid);
    in = take_boolean(in, time.leap59);
    in = take_boolean(in, time.leap61);
    in = take_boolean(in, time.time_traceable);
    in = take_boolean(in, time.frequency_traceable);
    in = take_boolean(in, time.ptp_timescale);
    in = take_enumeration(in, time.time_source);
    in = take(in, time.v_port_index);

    in = take_boolean(in, clock.revertive);
    in = take(in, clock.handle);
    in = take_enumeration(in, clock.type);
    in = take_enumeration(in, clock.mode);
    in = take_boolean(in, clock.warm_restart);
    in = take_enumeration(in, clock.network_type);
    take_enumeration(in, clock.tracking_type);
    return clock_width;
}

const contender entry(
    "clock_record", "hand", [] { return hand_fault<clock_record<>>(encode_clock, decode_clock); },
    hand_works<clock_record<>>(encode_clock, decode_clock));

}  // namespace
}  // namespace bench
