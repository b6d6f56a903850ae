// The values of the stream statistics that every contender carries: ten streams with fifty counters each.
#pragma once

#include <array>

#include "records/access.h"
#include "records/records.h"

namespace bench {

struct stream_state_values {
    u_int32 stream_id;
    u_int16 port;
    u_int32 family;
    u_int32 scope_id;
    std::array<u_int8, 16> address;
    std::array<u_int64, 50> counters;
    u_int32 encapsulation;
    std::array<u_int8, 6> mac;
    u_int32 l2_type;
    u_int32 l2_value;
    bool operator==(const stream_state_values &) const = default;
};

struct statistics_values {
    u_int32 count;
    std::array<stream_state_values, 10> streams;
    bool operator==(const statistics_values &) const = default;
};

const statistics_values &example_statistics();

ptp_stream_runtime_state_arr *make_statistics(vela_handle *handle, const statistics_values &values);

/** The statistics as the scenarios of records see them; filled and read by calls or by inline forms. */
template <class Way = access_way>
struct statistics_record {
    using instance = ptp_stream_runtime_state_arr;
    using values = statistics_values;
    static constexpr u_int32 width = 4660;
    static constexpr u_int32 text_room = 131072;
    static const values &example() { return example_statistics(); }
    /** Sets every field. */
    static void fill(vela_handle *handle, instance *statistics, const values &all, u_int32 *err);
    /** Reads every field by the accessors for whole records. The result stands until the next call. */
    static const values &read(vela_handle *handle, instance *statistics, u_int32 *err);
    static constexpr auto make = make_statistics;
    static constexpr auto create = ptp_stream_runtime_state_arr_create;
    static constexpr auto destroy = ptp_stream_runtime_state_arr_destroy;
    static constexpr auto marshal = ptp_stream_runtime_state_arr_marshal;
    static constexpr auto unmarshal = ptp_stream_runtime_state_arr_unmarshal;
    static constexpr auto clone = ptp_stream_runtime_state_arr_clone_cr;
    static constexpr auto copy = ptp_stream_runtime_state_arr_copy_cr;
    static constexpr auto compare = ptp_stream_runtime_state_arr_compare;
    static constexpr auto hash = ptp_stream_runtime_state_arr_hash;
    static constexpr auto print = ptp_stream_runtime_state_arr_print;
};

}  // namespace bench

#include "records/statistics_access.h"
