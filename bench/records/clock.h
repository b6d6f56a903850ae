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

/** A clock with the values given. An error ends the program. */
ptp_clock *make_clock(vela_handle *handle, const clock_values &values);

/** The clock as the scenarios of records see it; filled and read by calls or by inline forms. */
template <class Way = access_way>
struct clock_record {
    using instance = ptp_clock;
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
    static constexpr auto make = make_clock;
    static constexpr auto create = ptp_clock_create;
    static constexpr auto destroy = ptp_clock_destroy;
    static constexpr auto marshal = ptp_clock_marshal;
    static constexpr auto unmarshal = ptp_clock_unmarshal;
    static constexpr auto clone = ptp_clock_clone_cr;
    static constexpr auto copy = ptp_clock_copy_cr;
    static constexpr auto compare = ptp_clock_compare;
    static constexpr auto hash = ptp_clock_hash;
    static constexpr auto print = ptp_clock_print;
};

}  // namespace bench

#include "records/clock_access.h"
