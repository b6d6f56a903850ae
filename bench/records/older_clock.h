// The clock record as it is exchanged with a peer whose time properties lack their latest field.
#pragma once

#include "bench_records.h"

namespace bench {

/** Accessors for whole records end with VELA_EEPOCH at the field that the older variant lacks, the last of its structure. */
template <class Way = access_way>
struct older_clock_record : clock_record<Way> {
    using latest = clock_record<Way>;

    static vela_handle *make_handle() { return make_domain_handle("ptp_clock_time_properties_data_set", 0); }

    static void fill(vela_handle *handle, ptp_clock *clock, const ptp_clock_values &from, u_int32 *err) {
        latest::fill(handle, clock, from, err);
        if (*err == VELA_EEPOCH) {  // numbers are set before enumerations
            *err = 0;
            ptp_clock_time_properties_data_set_timeSource_set_value(
                handle, mem_class, ptp_clock_time_properties_get(handle, mem_class, clock, err),
                from.time_properties.timeSource, err);
        }
    }

    static ptp_clock_values read(vela_handle *handle, ptp_clock *clock, u_int32 *err) {
        ptp_clock_values values = latest::read(handle, clock, err);
        if (*err == VELA_EEPOCH) {
            *err = 0;
            values.time_properties.v_port_index = latest::example().time_properties.v_port_index;
        }
        return values;
    }
};

}  // namespace bench
