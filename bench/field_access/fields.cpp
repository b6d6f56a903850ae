// One field set and read by its accessors, on a handle without hooks that does not track, beside a plain variable.
#include "harness/contender.h"
#include "records/clock.h"
#include "records/records.h"

namespace bench {
namespace {

struct fixture {
    vela_handle *handle = make_handle();
    ptp_clock *clock = make_clock(handle, example_clock);
    u_int64 variable = 0;
    u_int32 err = 0;
};

fixture &own() {
    static fixture it;
    return it;
}

std::string check() {
    fixture &f = own();
    ptp_clock_clock_handle_set_value(f.handle, mem_class, f.clock, 77, &f.err);
    ptp_clock_clk_mode_set_value(f.handle, mem_class, f.clock, 5, &f.err);
    const bool kept = ptp_clock_clock_handle_get_value(f.handle, mem_class, f.clock, &f.err) == 77 &&
                      ptp_clock_clk_mode_get_value(f.handle, mem_class, f.clock, &f.err) == 5;
    return kept && f.err == 0 ? "" : "a field lost its value";
}

/** Times `step(number)` with numbers that the compiler does not know. */
template <class Step>
std::function<void(benchmark::State &)> with_numbers(Step step) {
    return [step](benchmark::State &state) {
        fixture &f = own();
        u_int32 number = 0;
        repeat(state, [&] {
            number = (number + 1) & 7;
            return step(f, number);
        });
    };
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

/** Out of line like an accessor, so that what is left is what the accessor does beyond its call. */
[[gnu::noipa]] void store(u_int64 *variable, u_int64 number) { *variable = number; }
[[gnu::noipa]] u_int64 load(const u_int64 *variable) { return *variable; }
int set_variable(fixture &f, u_int32 number) {
    store(&f.variable, number);
    return 0;
}
u_int64 get_variable(fixture &f, u_int32) { return load(&f.variable); }

const contender plain("field_access", "plain store", [] { return std::string(); },
                      {{"set a number", with_numbers(set_variable)},
                       {"set an enumeration", with_numbers(set_variable)},
                       {"get a number", with_numbers(get_variable)},
                       {"get an enumeration", with_numbers(get_variable)}});
const contender entry("field_access", "ours", check,
                      {{"set a number", with_numbers(set_number)},
                       {"set an enumeration", with_numbers(set_enumeration)},
                       {"get a number", with_numbers(get_number)},
                       {"get an enumeration", with_numbers(get_enumeration)}});

}  // namespace
}  // namespace bench
