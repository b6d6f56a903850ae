// The clock record by the library's C functions.
#include "harness/contender.h"
#include "records/clock.h"
#include "records/records.h"

namespace bench {
namespace {

struct fixture {
    vela_handle *handle = make_handle();
    ptp_clock *clock = make_clock(handle, example_clock);
    ptp_clock *received = ptp_clock_create(handle, mem_class);
    u_int8 bytes[256] = {};
    u_int32 err = 0;

    fixture() { ptp_clock_marshal(handle, mem_class, bytes, clock, sizeof bytes, &err); }
};

fixture &own() {
    static fixture it;
    return it;
}

std::string check() {
    fixture &f = own();
    const u_int32 consumed = ptp_clock_unmarshal(f.handle, mem_class, f.bytes, f.received, clock_width, 0, &f.err);
    if (f.err != 0 || consumed != clock_width) {
        return "error " + std::to_string(f.err);
    }
    return read_clock(f.handle, f.received, &f.err) == example_clock && f.err == 0 ? "" : "other values came back";
}

void encode(benchmark::State &state) {
    fixture &f = own();
    repeat(state, [&] { return ptp_clock_marshal(f.handle, mem_class, f.bytes, f.clock, sizeof f.bytes, &f.err); });
}

void decode(benchmark::State &state) {
    fixture &f = own();
    repeat(state,
           [&] { return ptp_clock_unmarshal(f.handle, mem_class, f.bytes, f.received, clock_width, 0, &f.err); });
}

void decode_and_read(benchmark::State &state) {
    fixture &f = own();
    repeat(state, [&] {
        ptp_clock_unmarshal(f.handle, mem_class, f.bytes, f.received, clock_width, 0, &f.err);
        return read_clock(f.handle, f.received, &f.err);
    });
}

const contender entry("clock_record", "ours", check,
                      {{"encode", encode}, {"decode", decode}, {"decode and read", decode_and_read}});

}  // namespace
}  // namespace bench
