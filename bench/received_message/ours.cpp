// A received clock message: from its bytes to the application's handler, which destroys it.
#include "harness/contender.h"
#include "records/messages.h"
#include "records/records.h"

namespace bench {
namespace {

struct fixture {
    vela_handle *handle = make_handle();
    u_int8 bytes[clock_message_width] = {};
    receipt got;
    u_int32 err = 0;

    fixture() { write_clock_message(bytes); }
};

u_int32 dispatch(fixture &f) {
    return ptp_cfg_dispatch(f.handle, mem_class, &f.got, nullptr, nullptr, f.bytes, sizeof f.bytes, &f.err);
}

u_int32 receive(fixture &f) {
    return ptp_clock_cfg_message_unmarshal(f.handle, mem_class, &f.got, nullptr, f.bytes, sizeof f.bytes, nullptr,
                                           &f.err);
}

template <u_int32 (*Receive)(fixture &)>
std::string check() {
    fixture &f = own<fixture>();
    f.got.keep = true;
    Receive(f);
    f.got.keep = false;
    return is_example(f.handle, f.got) && f.err == 0 ? "" : "another message came, error " + std::to_string(f.err);
}

const contender by_identity("received_message", "dispatch", check<dispatch>,
                            {timed("to handler", own<fixture>, dispatch)});
const contender by_type("received_message", "typed unmarshal", check<receive>,
                        {timed("to handler", own<fixture>, receive)});

}  // namespace
}  // namespace bench
