// What tracing costs: nobody listens, the default sink at its level, and a sink that counts every message.
#include <bitlog.h>

#include "harness/contender.h"
#include "records/clock.h"
#include "records/messages.h"
#include "records/records.h"

namespace bench {
namespace {

/** Bytes of a clock that a newer peer could have sent: four more bytes behind the fields, which are traced. */
struct fixture {
    vela_handle *handle = make_handle();
    u_int8 message[clock_message_width] = {};
    u_int8 newer[clock_width + 4] = {};
    ptp_clock *received = ptp_clock_create(handle, mem_class);
    receipt got;
    u_int64 traced = 0;
    u_int32 err = 0;

    fixture() {
        write_clock_message(message);
        std::copy(message + PTP_CFG_MESSAGE_PREFIX, message + clock_message_width, newer);
        newer[5] = static_cast<u_int8>(newer[5] + 4);  // the last byte of the jump
    }

    u_int32 receive() {
        return ptp_cfg_dispatch(handle, mem_class, &got, nullptr, nullptr, message, sizeof message, &err);
    }
    u_int32 read_newer() { return ptp_clock_unmarshal(handle, mem_class, newer, received, sizeof newer, 0, &err); }
};

fixture &own() {
    static fixture it;
    return it;
}

void count(void *cookie, const bitlog_record *) { ++*static_cast<u_int64 *>(cookie); }

struct silence {
    silence() { bitlog_set_level(BITLOG_EMERGENCY); }
    ~silence() { bitlog_set_level(BITLOG_DEBUG); }
};
struct defaults {};
struct counting {
    counting() { bitlog_set_sink(count, &own().traced); }
    ~counting() { bitlog_set_sink(nullptr, nullptr); }
};

template <class Setting>
std::string check() {
    fixture &f = own();
    [[maybe_unused]] Setting setting;
    const u_int64 before = f.traced;
    const bool whole = f.read_newer() == sizeof f.newer && read_clock(f.handle, f.received, &f.err) == example_clock;
    const bool traced = f.traced != before;
    return f.err == 0 && whole && traced == std::is_same_v<Setting, counting> ? "" : "reading or tracing failed";
}

template <class Setting, u_int32 (fixture::*Step)()>
void time_it(benchmark::State &state) {
    [[maybe_unused]] Setting setting;
    repeat(state, [&] { return (own().*Step)(); });
}

template <class Setting>
contender of(const char *name) {
    return {"trace_cost",
            name,
            check<Setting>,
            {{"a message to its handler", time_it<Setting, &fixture::receive>},
             {"a newer peer's clock, one trace", time_it<Setting, &fixture::read_newer>}}};
}

const contender entries[] = {of<silence>("silent"), of<defaults>("default sink"), of<counting>("counting sink")};

}  // namespace
}  // namespace bench
