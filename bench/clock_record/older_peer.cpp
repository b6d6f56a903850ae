// The clock record between this release and a peer whose time properties lack their latest field.
#define BENCH_INLINE_FORMS
#include "records/clock.h"
#include "records/record.h"

namespace bench {
namespace {

struct older_clock_record : clock_record<> {
    /** The field that the older variant lacks ends the reading of its structure, which is the last. */
    static clock_values read(vela_handle *handle, ptp_clock *clock, u_int32 *err) {
        clock_values values = clock_record<>::read(handle, clock, err);
        if (*err == VELA_EEPOCH) {
            *err = 0;
            values.time_properties.v_port_index = example_clock.time_properties.v_port_index;
        }
        return values;
    }
};

record_fixture<older_clock_record> &own() {
    static record_fixture<older_clock_record> it(make_domain_handle("ptp_clock_time_properties_data_set", 0),
                                                 make_domain_handle("ptp_clock_time_properties_data_set", 0));
    return it;
}

std::string check() {
    record_fixture<older_clock_record> &f = own();
    return f.length == clock_width - 1 ? f.fault() : "the older encoding has another length";
}

const contender entry("clock_record", "older peer", check, codec_works(own));

}  // namespace
}  // namespace bench
