// The fields by the C++ classes, on the same handle and clock.
#include "field_access/accessors.h"
#include "ptp_cfg/cpp/clock.hpp"

namespace bench {
namespace {

struct class_fixture : fixture {
    ptp::clock_view view{handle, clock};
};

std::string check_classes() {
    class_fixture &f = own<class_fixture>();
    const bool set = f.view.set_clock_handle(77) && f.view.set_clk_mode(ptp::clock_mode::CLOCK_MODE_OC_SLAVE_HYBRID);
    return set && f.view.clock_handle() == 77 && static_cast<u_int32>(f.view.clk_mode()) == 5
               ? ""
               : "a field lost its value";
}

int set_class_number(class_fixture &f, u_int32 number) {
    f.view.set_clock_handle(number);
    return 0;
}
int set_class_enumeration(class_fixture &f, u_int32 number) {
    f.view.set_clk_mode(static_cast<ptp::clock_mode>(number));
    return 0;
}
u_int64 get_class_number(class_fixture &f, u_int32) { return f.view.clock_handle(); }
u_int32 get_class_enumeration(class_fixture &f, u_int32) { return static_cast<u_int32>(f.view.clk_mode()); }

const contender entry("field_access", "ours, C++", check_classes,
                      {{"set a number", with_numbers(own<class_fixture>, set_class_number)},
                       {"set an enumeration", with_numbers(own<class_fixture>, set_class_enumeration)},
                       {"get a number", with_numbers(own<class_fixture>, get_class_number)},
                       {"get an enumeration", with_numbers(own<class_fixture>, get_class_enumeration)}});

}  // namespace
}  // namespace bench
