// The clock record by the same C functions on handles that keep off the fast path: a domain that names a type which
// does not exist, and so changes nothing, for marshal; a hook that does nothing for unmarshal.
#include "harness/contender.h"
#include "records/clock.h"
#include "records/records.h"

namespace bench {
namespace {

vela_handle *make_domain_handle() {
    vela_domain *domain = vela_domain_create("bench");
    require(vela_domain_set_variant(domain, "no_such_type", 0) == 0, "set a variant");
    vela_handle *handle = make_handle();
    vela_handle_set_domain(handle, domain);
    return handle;
}

struct fixture {
    vela_handle *sender = make_domain_handle();
    vela_handle *receiver = make_hooked_handle();
    ptp_clock *clock = make_clock(sender, example_clock);
    ptp_clock *received = ptp_clock_create(receiver, mem_class);
    u_int8 bytes[256] = {};
    u_int32 err = 0;

    fixture() { ptp_clock_marshal(sender, mem_class, bytes, clock, sizeof bytes, &err); }
};

fixture &own() {
    static fixture it;
    return it;
}

std::string check() {
    fixture &f = own();
    const u_int32 consumed = ptp_clock_unmarshal(f.receiver, mem_class, f.bytes, f.received, clock_width, 0, &f.err);
    if (f.err != 0 || consumed != clock_width) {
        return "error " + std::to_string(f.err);
    }
    return read_clock(f.receiver, f.received, &f.err) == example_clock && f.err == 0 ? "" : "other values came back";
}

void encode(benchmark::State &state) {
    fixture &f = own();
    repeat(state, [&] { return ptp_clock_marshal(f.sender, mem_class, f.bytes, f.clock, sizeof f.bytes, &f.err); });
}

void decode(benchmark::State &state) {
    fixture &f = own();
    repeat(state,
           [&] { return ptp_clock_unmarshal(f.receiver, mem_class, f.bytes, f.received, clock_width, 0, &f.err); });
}

const contender entry("clock_record", "ours, exact path", check, {{"encode", encode}, {"decode", decode}});

}  // namespace
}  // namespace bench
