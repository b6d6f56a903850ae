// The clock record by Protocol Buffers.
#include "peers/protobuf.h"

#include "bench.pb.h"
#include "peers/packing.h"
#include "records/clock.h"

namespace bench {
namespace {

struct proto_clock {
    using record = clock_record<>;
    using message = bench_proto::Clock;

    static void fill(const clock_values &from, message &to) {
        to.set_modify(from.modify != 0);
        to.set_version(from.version);
        to.set_profile(from.profile);
        to.set_revertive(from.revertive != 0);
        to.set_handle(from.handle);
        to.set_type(from.type);
        to.set_mode(from.mode);
        to.set_warm_restart(from.warm_restart != 0);
        to.set_network_type(from.network_type);
        to.set_tracking_type(from.tracking_type);
        const default_ds_values &ds = from.default_ds;
        bench_proto::DefaultDs &to_ds = *to.mutable_default_ds();
        to_ds.set_clock_id(peer::packed(ds.clock_id));
        bench_proto::ClockQuality &to_quality = *to_ds.mutable_quality();
        to_quality.set_clock_class(ds.quality.clock_class);
        to_quality.set_offset_scaled_log_var(ds.quality.offset_scaled_log_var);
        to_quality.set_accuracy(ds.quality.accuracy);
        to_ds.set_number_ports(ds.number_ports);
        to_ds.set_priority1(ds.priority1);
        to_ds.set_priority2(ds.priority2);
        to_ds.set_domain(ds.domain);
        to_ds.set_two_step(ds.two_step != 0);
        to_ds.set_slave_only(ds.slave_only != 0);
        to_ds.set_local_priority(ds.local_priority);
        const time_properties_values &time = from.time_properties;
        bench_proto::TimeProperties &to_time = *to.mutable_time_properties();
        to_time.set_utc_offset(time.utc_offset);
        to_time.set_utc_offset_valid(time.utc_offset_valid != 0);
        to_time.set_leap59(time.leap59 != 0);
        to_time.set_leap61(time.leap61 != 0);
        to_time.set_time_traceable(time.time_traceable != 0);
        to_time.set_frequency_traceable(time.frequency_traceable != 0);
        to_time.set_ptp_timescale(time.ptp_timescale != 0);
        to_time.set_time_source(time.time_source);
        to_time.set_v_port_index(time.v_port_index);
    }

    static clock_values read(const message &from) {
        clock_values to;
        to.modify = from.modify();
        to.version = from.version();
        to.profile = from.profile();
        to.revertive = from.revertive();
        to.handle = from.handle();
        to.type = from.type();
        to.mode = from.mode();
        to.warm_restart = from.warm_restart();
        to.network_type = from.network_type();
        to.tracking_type = from.tracking_type();
        default_ds_values &ds = to.default_ds;
        const bench_proto::DefaultDs &from_ds = from.default_ds();
        peer::unpack(from_ds.clock_id(), ds.clock_id);
        const bench_proto::ClockQuality &from_quality = from_ds.quality();
        ds.quality.clock_class = static_cast<u_int8>(from_quality.clock_class());
        ds.quality.offset_scaled_log_var = static_cast<int16>(from_quality.offset_scaled_log_var());
        ds.quality.accuracy = from_quality.accuracy();
        ds.number_ports = static_cast<u_int16>(from_ds.number_ports());
        ds.priority1 = static_cast<u_int8>(from_ds.priority1());
        ds.priority2 = static_cast<u_int8>(from_ds.priority2());
        ds.domain = static_cast<u_int8>(from_ds.domain());
        ds.two_step = from_ds.two_step();
        ds.slave_only = from_ds.slave_only();
        ds.local_priority = static_cast<u_int8>(from_ds.local_priority());
        time_properties_values &time = to.time_properties;
        const bench_proto::TimeProperties &from_time = from.time_properties();
        time.utc_offset = static_cast<int16>(from_time.utc_offset());
        time.utc_offset_valid = from_time.utc_offset_valid();
        time.leap59 = from_time.leap59();
        time.leap61 = from_time.leap61();
        time.time_traceable = from_time.time_traceable();
        time.frequency_traceable = from_time.frequency_traceable();
        time.ptp_timescale = from_time.ptp_timescale();
        time.time_source = from_time.time_source();
        time.v_port_index = static_cast<u_int8>(from_time.v_port_index());
        return to;
    }

    static void shape(message &to) {
        to.mutable_default_ds()->mutable_quality();
        to.mutable_time_properties();
    }
};

const contender reused("clock_record", "protobuf", peer::protobuf_fault<proto_clock>,
                       peer::protobuf_reusing_works<proto_clock>());
const contender arena("clock_record", "protobuf, arena", peer::protobuf_fault<proto_clock>,
                      peer::protobuf_arena_works<proto_clock>());

}  // namespace
}  // namespace bench
