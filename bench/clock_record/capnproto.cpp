// The clock record by Cap'n Proto.
#include "peers/capnproto.h"

#include "bench.capnp.h"
#include "peers/packing.h"
#include "records/clock.h"

namespace bench {
namespace {

struct capnproto_clock {
    using record = clock_record<>;
    using type = bench_capnp::Clock;

    static void fill(const clock_values &from, type::Builder to) {
        to.setModify(from.modify != 0);
        to.setVersion(from.version);
        to.setProfile(from.profile);
        to.setRevertive(from.revertive != 0);
        to.setHandle(from.handle);
        to.setType(from.type);
        to.setMode(from.mode);
        to.setWarmRestart(from.warm_restart != 0);
        to.setNetworkType(from.network_type);
        to.setTrackingType(from.tracking_type);
        const default_ds_values &ds = from.default_ds;
        auto to_ds = to.initDefaultDs();
        to_ds.setClockId(peer::packed(ds.clock_id));
        auto to_quality = to_ds.initQuality();
        to_quality.setClockClass(ds.quality.clock_class);
        to_quality.setOffsetScaledLogVar(ds.quality.offset_scaled_log_var);
        to_quality.setAccuracy(ds.quality.accuracy);
        to_ds.setNumberPorts(ds.number_ports);
        to_ds.setPriority1(ds.priority1);
        to_ds.setPriority2(ds.priority2);
        to_ds.setDomain(ds.domain);
        to_ds.setTwoStep(ds.two_step != 0);
        to_ds.setSlaveOnly(ds.slave_only != 0);
        to_ds.setLocalPriority(ds.local_priority);
        const time_properties_values &time = from.time_properties;
        auto to_time = to.initTimeProperties();
        to_time.setUtcOffset(time.utc_offset);
        to_time.setUtcOffsetValid(time.utc_offset_valid != 0);
        to_time.setLeap59(time.leap59 != 0);
        to_time.setLeap61(time.leap61 != 0);
        to_time.setTimeTraceable(time.time_traceable != 0);
        to_time.setFrequencyTraceable(time.frequency_traceable != 0);
        to_time.setPtpTimescale(time.ptp_timescale != 0);
        to_time.setTimeSource(time.time_source);
        to_time.setVPortIndex(time.v_port_index);
    }

    static clock_values read(type::Reader from) {
        clock_values to;
        to.modify = from.getModify();
        to.version = from.getVersion();
        to.profile = from.getProfile();
        to.revertive = from.getRevertive();
        to.handle = from.getHandle();
        to.type = from.getType();
        to.mode = from.getMode();
        to.warm_restart = from.getWarmRestart();
        to.network_type = from.getNetworkType();
        to.tracking_type = from.getTrackingType();
        default_ds_values &ds = to.default_ds;
        const auto from_ds = from.getDefaultDs();
        peer::unpack(from_ds.getClockId(), ds.clock_id);
        const auto from_quality = from_ds.getQuality();
        ds.quality.clock_class = from_quality.getClockClass();
        ds.quality.offset_scaled_log_var = from_quality.getOffsetScaledLogVar();
        ds.quality.accuracy = from_quality.getAccuracy();
        ds.number_ports = from_ds.getNumberPorts();
        ds.priority1 = from_ds.getPriority1();
        ds.priority2 = from_ds.getPriority2();
        ds.domain = from_ds.getDomain();
        ds.two_step = from_ds.getTwoStep();
        ds.slave_only = from_ds.getSlaveOnly();
        ds.local_priority = from_ds.getLocalPriority();
        time_properties_values &time = to.time_properties;
        const auto from_time = from.getTimeProperties();
        time.utc_offset = from_time.getUtcOffset();
        time.utc_offset_valid = from_time.getUtcOffsetValid();
        time.leap59 = from_time.getLeap59();
        time.leap61 = from_time.getLeap61();
        time.time_traceable = from_time.getTimeTraceable();
        time.frequency_traceable = from_time.getFrequencyTraceable();
        time.ptp_timescale = from_time.getPtpTimescale();
        time.time_source = from_time.getTimeSource();
        time.v_port_index = from_time.getVPortIndex();
        return to;
    }

    static void shape(type::Builder to) {
        to.initDefaultDs().initQuality();
        to.initTimeProperties();
    }
};

const contender entry("clock_record", "capnproto", peer::capnproto_fault<capnproto_clock>,
                      peer::capnproto_works<capnproto_clock>());

}  // namespace
}  // namespace bench
