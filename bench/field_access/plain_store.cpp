// What accessors are compared with: a function that stores or loads a variable.
#include "field_access/numbers.h"

namespace bench {
namespace {

/** Out of line like an accessor, so that what is left is what the accessor does beyond its call. */
[[gnu::noipa]] void store(u_int64 *variable, u_int64 number) { *variable = number; }
[[gnu::noipa]] u_int64 load(const u_int64 *variable) { return *variable; }

u_int64 &own() {
    static u_int64 variable = 0;
    return variable;
}

int set_variable(u_int64 &variable, u_int32 number) {
    store(&variable, number);
    return 0;
}
u_int64 get_variable(u_int64 &variable, u_int32) { return load(&variable); }

const contender plain("field_access", "plain store", [] { return std::string(); },
                      {{"set a number", with_numbers(own, set_variable)},
                       {"set an enumeration", with_numbers(own, set_variable)},
                       {"get a number", with_numbers(own, get_variable)},
                       {"get an enumeration", with_numbers(own, get_variable)}});

}  // namespace
}  // namespace bench
