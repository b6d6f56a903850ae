// One field set and read by its accessors, on a handle without hooks that does not track; in the way that the source
// which includes this has chosen.
#pragma once

#include "bench_records.h"
#include "field_access/numbers.h"
#include "harness/contender.h"

namespace bench {
namespace {

struct fixture {
    vela_handle *handle = make_handle();
    ptp_clock *clock = make_example<clock_record<>>(handle);
    u_int32 err = 0;
};

std::string check() {
    fixture &f = own<fixture>();
    ptp_clock_clock_handle_set_value(f.handle, mem_class, f.clock, 77, &f.err);
    ptp_clock_clk_mode_set_value(f.handle, mem_class, f.clock, 5, &f.err);
    const bool kept = ptp_clock_clock_handle_get_value(f.handle, mem_class, f.clock, &f.err) == 77 &&
                      ptp_clock_clk_mode_get_value(f.handle, mem_class, f.clock, &f.err) == 5;
    return kept && f.err == 0 ? "" : "a field lost its value";
}

int set_number(fixture &f, u_int32 number) {
    ptp_clock_clock_handle_set_value(f.handle, mem_class, f.clock, number, &f.err);
    return 0;
}
int set_enumeration(fixture &f, u_int32 number) {
    ptp_clock_clk_mode_set_value(f.handle, mem_class, f.clock, number, &f.err);
    return 0;
}
u_int64 get_number(fixture &f, u_int32) {
    return ptp_clock_clock_handle_get_value(f.handle, mem_class, f.clock, &f.err);
}
u_int32 get_enumeration(fixture &f, u_int32) {
    return ptp_clock_clk_mode_get_value(f.handle, mem_class, f.clock, &f.err);
}

/** What all ways are timed at. */
std::vector<work> accessor_works() {
    return {{"set a number", with_numbers(own<fixture>, set_number)},
            {"set an enumeration", with_numbers(own<fixture>, set_enumeration)},
            {"get a number", with_numbers(own<fixture>, get_number)},
            {"get an enumeration", with_numbers(own<fixture>, get_enumeration)}};
}

}  // namespace
}  // namespace bench
