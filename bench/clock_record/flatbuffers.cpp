// The clock record by FlatBuffers: tables, and for orientation a struct, which has one layout for all times.
#include "peers/flatbuffers.h"

#include "bench_generated.h"
#include "peers/packing.h"
#include "records/clock.h"

namespace bench {
namespace {

struct flat_clock {
    using record = clock_record<>;
    using table = bench_flat::Clock;
    using object = bench_flat::ClockT;

    static flatbuffers::Offset<table> build(flatbuffers::FlatBufferBuilder &builder, const clock_values &from) {
        const default_ds_values &ds = from.default_ds;
        const auto quality = bench_flat::CreateClockQuality(builder, ds.quality.clock_class,
                                                            ds.quality.offset_scaled_log_var, ds.quality.accuracy);
        const auto data_set = bench_flat::CreateDefaultDs(builder, peer::packed(ds.clock_id), quality, ds.number_ports,
                                                          ds.priority1, ds.priority2, ds.domain, ds.two_step != 0,
                                                          ds.slave_only != 0, ds.local_priority);
        const time_properties_values &time = from.time_properties;
        const auto properties =
            bench_flat::CreateTimeProperties(builder, time.utc_offset, time.utc_offset_valid != 0, time.leap59 != 0,
                                             time.leap61 != 0, time.time_traceable != 0, time.frequency_traceable != 0,
                                             time.ptp_timescale != 0, time.time_source, time.v_port_index);
        return bench_flat::CreateClock(builder, from.modify != 0, from.version, from.profile, data_set, properties,
                                       from.revertive != 0, from.handle, from.type, from.mode, from.warm_restart != 0,
                                       from.network_type, from.tracking_type);
    }

    static clock_values read(const table &from) {
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
        const bench_flat::DefaultDs &from_ds = *from.default_ds();
        peer::unpack(from_ds.clock_id(), ds.clock_id);
        const bench_flat::ClockQuality &from_quality = *from_ds.quality();
        ds.quality.clock_class = from_quality.clock_class();
        ds.quality.offset_scaled_log_var = from_quality.offset_scaled_log_var();
        ds.quality.accuracy = from_quality.accuracy();
        ds.number_ports = from_ds.number_ports();
        ds.priority1 = from_ds.priority1();
        ds.priority2 = from_ds.priority2();
        ds.domain = from_ds.domain();
        ds.two_step = from_ds.two_step();
        ds.slave_only = from_ds.slave_only();
        ds.local_priority = from_ds.local_priority();
        time_properties_values &time = to.time_properties;
        const bench_flat::TimeProperties &from_time = *from.time_properties();
        time.utc_offset = from_time.utc_offset();
        time.utc_offset_valid = from_time.utc_offset_valid();
        time.leap59 = from_time.leap59();
        time.leap61 = from_time.leap61();
        time.time_traceable = from_time.time_traceable();
        time.frequency_traceable = from_time.frequency_traceable();
        time.ptp_timescale = from_time.ptp_timescale();
        time.time_source = from_time.time_source();
        time.v_port_index = from_time.v_port_index();
        return to;
    }

    static object to_object(const clock_values &from) {
        object to;
        shape(to);
        to.modify = from.modify != 0;
        to.version = from.version;
        to.profile = from.profile;
        to.revertive = from.revertive != 0;
        to.handle = from.handle;
        to.type = from.type;
        to.mode = from.mode;
        to.warm_restart = from.warm_restart != 0;
        to.network_type = from.network_type;
        to.tracking_type = from.tracking_type;
        to.default_ds->clock_id = peer::packed(from.default_ds.clock_id);
        bench_flat::ClockQualityT &quality = *to.default_ds->quality;
        quality.clock_class = from.default_ds.quality.clock_class;
        quality.offset_scaled_log_var = from.default_ds.quality.offset_scaled_log_var;
        quality.accuracy = from.default_ds.quality.accuracy;
        bench_flat::DefaultDsT &ds = *to.default_ds;
        ds.number_ports = from.default_ds.number_ports;
        ds.priority1 = from.default_ds.priority1;
        ds.priority2 = from.default_ds.priority2;
        ds.domain = from.default_ds.domain;
        ds.two_step = from.default_ds.two_step != 0;
        ds.slave_only = from.default_ds.slave_only != 0;
        ds.local_priority = from.default_ds.local_priority;
        bench_flat::TimePropertiesT &time = *to.time_properties;
        time.utc_offset = from.time_properties.utc_offset;
        time.utc_offset_valid = from.time_properties.utc_offset_valid != 0;
        time.leap59 = from.time_properties.leap59 != 0;
        time.leap61 = from.time_properties.leap61 != 0;
        time.time_traceable = from.time_properties.time_traceable != 0;
        time.frequency_traceable = from.time_properties.frequency_traceable != 0;
        time.ptp_timescale = from.time_properties.ptp_timescale != 0;
        time.time_source = from.time_properties.time_source;
        time.v_port_index = from.time_properties.v_port_index;
        return to;
    }

    static void shape(object &to) {
        to.default_ds = std::make_unique<bench_flat::DefaultDsT>();
        to.default_ds->quality = std::make_unique<bench_flat::ClockQualityT>();
        to.time_properties = std::make_unique<bench_flat::TimePropertiesT>();
    }
};

struct flat_fixed_clock {
    using record = clock_record<>;
    using table = bench_flat::FixedClockHolder;

    static flatbuffers::Offset<table> build(flatbuffers::FlatBufferBuilder &builder, const clock_values &from) {
        const default_ds_values &ds = from.default_ds;
        const time_properties_values &time = from.time_properties;
        const bench_flat::FixedClock clock(
            bench_flat::FixedDefaultDs(
                peer::packed(ds.clock_id),
                bench_flat::FixedClockQuality(ds.quality.accuracy, ds.quality.offset_scaled_log_var,
                                              ds.quality.clock_class),
                ds.number_ports, ds.priority1, ds.priority2, ds.domain, ds.two_step != 0, ds.slave_only != 0,
                ds.local_priority),
            bench_flat::FixedTimeProperties(time.time_source, time.utc_offset, time.utc_offset_valid != 0,
                                            time.leap59 != 0, time.leap61 != 0, time.time_traceable != 0,
                                            time.frequency_traceable != 0, time.ptp_timescale != 0, time.v_port_index),
            from.handle, from.version, from.profile, from.type, from.mode, from.network_type, from.tracking_type,
            from.modify != 0, from.revertive != 0, from.warm_restart != 0);
        return bench_flat::CreateFixedClockHolder(builder, &clock);
    }

    static clock_values read(const table &holder) {
        const bench_flat::FixedClock &from = *holder.clock();
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
        const bench_flat::FixedDefaultDs &from_ds = from.default_ds();
        peer::unpack(from_ds.clock_id(), ds.clock_id);
        const bench_flat::FixedClockQuality &from_quality = from_ds.quality();
        ds.quality.clock_class = from_quality.clock_class();
        ds.quality.offset_scaled_log_var = from_quality.offset_scaled_log_var();
        ds.quality.accuracy = from_quality.accuracy();
        ds.number_ports = from_ds.number_ports();
        ds.priority1 = from_ds.priority1();
        ds.priority2 = from_ds.priority2();
        ds.domain = from_ds.domain();
        ds.two_step = from_ds.two_step();
        ds.slave_only = from_ds.slave_only();
        ds.local_priority = from_ds.local_priority();
        time_properties_values &time = to.time_properties;
        const bench_flat::FixedTimeProperties &from_time = from.time_properties();
        time.utc_offset = from_time.utc_offset();
        time.utc_offset_valid = from_time.utc_offset_valid();
        time.leap59 = from_time.leap59();
        time.leap61 = from_time.leap61();
        time.time_traceable = from_time.time_traceable();
        time.frequency_traceable = from_time.frequency_traceable();
        time.ptp_timescale = from_time.ptp_timescale();
        time.time_source = from_time.time_source();
        time.v_port_index = from_time.v_port_index();
        return to;
    }
};

using namespace peer;
const contender tables("clock_record", "flatbuffers", flatbuffers_fault<flat_clock>,
                       flatbuffers_codec_works<flat_clock>() + flatbuffers_object_works<flat_clock>());
const contender structs("clock_record", "flatbuffers, struct", flatbuffers_fault<flat_fixed_clock>,
                        flatbuffers_codec_works<flat_fixed_clock>());

}  // namespace
}  // namespace bench
