// What tracing costs: nobody listens, the default sink at its level, a sink that counts every message, and rings.
// All in one thread: once there was a second, the library would lock its counters in every other benchmark, too.
#include <bitlog.h>
#include <unistd.h>

#include "harness/contender.h"
#include "records/messages.h"
#include "records/records.h"

namespace bench {
namespace {

const bitlog_trace_points points = {"bench", 0, 64};

u_int16 own_module() {
    static u_int16 id = 0;
    bitlog_module_init_fn("bench", &id, nullptr);
    return id;
}

/** Bytes of a clock that a newer peer could have sent: four more bytes behind the fields, which are traced. */
struct fixture {
    vela_handle *handle = make_handle();
    u_int8 message[clock_message_width] = {};
    u_int8 newer[clock_record<>::width + 4] = {};
    ptp_clock *received = ptp_clock_create(handle, mem_class);
    receipt got;
    u_int64 traced = 0;
    u_int16 module = own_module();
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
    u_int32 trace_numbers() {
        __BLf_44(&points, 1, module, BITLOG_DEBUG, 1, 2);
        return 0;
    }
    u_int32 trace_texts() {
        __BLf_111(&points, 2, module, BITLOG_DEBUG, "ptp_clock_cfg", "Operation not permitted", "core");
        return 0;
    }
};

void count(void *cookie, const bitlog_record *) { ++*static_cast<u_int64 *>(cookie); }

u_int64 traced_into_ring() {
    bitlog_reader *reader = nullptr;
    if (bitlog_reader_open(nullptr, &reader, nullptr, 0) != 0) {
        return 0;
    }
    bitlog_ring_info info;
    bitlog_reader_info(reader, &info);
    bitlog_reader_close(reader);
    return info.traced;
}

// ---- who listens: from the constructor on, until the destructor; traced() grows with what is heard -------------

struct silence {
    static constexpr bool hears = false;
    silence() { bitlog_set_level(BITLOG_EMERGENCY); }
    ~silence() { bitlog_set_level(BITLOG_DEBUG); }
    static u_int64 traced() { return own<fixture>().traced; }
};

struct defaults {
    static constexpr bool hears = false;
    static u_int64 traced() { return own<fixture>().traced; }
};

struct counting {
    static constexpr bool hears = true;
    counting() { bitlog_set_sink(count, &own<fixture>().traced); }
    ~counting() { bitlog_set_sink(nullptr, nullptr); }
    static u_int64 traced() { return own<fixture>().traced; }
};

struct ring_in_memory {
    static constexpr bool hears = true;
    ring_in_memory() { bitlog_ring_open(nullptr, 0); }
    ~ring_in_memory() { bitlog_ring_close(); }
    static u_int64 traced() { return traced_into_ring(); }
};

struct ring_in_file {
    static constexpr bool hears = true;
    ring_in_file() : path("/tmp/ptp_cfg_bench." + std::to_string(getpid())) { bitlog_ring_open(path.c_str(), 0); }
    ~ring_in_file() {
        bitlog_ring_close();
        unlink(path.c_str());
    }
    static u_int64 traced() { return traced_into_ring(); }
    std::string path;
};

/** The ring is open for others; the modules that are timed are silenced. */
struct silenced_modules : ring_in_memory {
    static constexpr bool hears = false;
    silenced_modules() { set(BITLOG_EMERGENCY); }
    ~silenced_modules() { set(BITLOG_COMMON_LEVEL); }
    static void set(u_int32 level) {
        bitlog_set_module_level("vela_ptp_cfg", level);
        bitlog_set_module_level("bench", level);
    }
};

template <class Setting>
std::string check() {
    fixture &f = own<fixture>();
    [[maybe_unused]] Setting setting;
    const u_int64 before = Setting::traced();
    const bool whole = f.read_newer() == sizeof f.newer &&
                       clock_record<>::read(f.handle, f.received, &f.err) == clock_record<>::example();
    const bool traced = Setting::traced() != before;
    return f.err == 0 && whole && traced == Setting::hears ? "" : "reading or tracing failed";
}

template <class Setting, u_int32 (fixture::*Step)()>
void time_it(benchmark::State &state) {
    [[maybe_unused]] Setting setting;
    repeat(state, [&] { return (own<fixture>().*Step)(); });
}

template <class Setting>
contender of(const char *name) {
    return {"trace_cost",
            name,
            check<Setting>,
            {{"a message to its handler", time_it<Setting, &fixture::receive>},
             {"a newer peer's clock, one trace", time_it<Setting, &fixture::read_newer>},
             {"a trace point with two numbers", time_it<Setting, &fixture::trace_numbers>},
             {"a trace point with three strings", time_it<Setting, &fixture::trace_texts>}}};
}

const contender entries[] = {
    of<silence>("silent"),         of<silenced_modules>("silent modules, ring"), of<defaults>("default sink"),
    of<counting>("counting sink"), of<ring_in_memory>("ring in memory"),         of<ring_in_file>("ring in a file")};

}  // namespace
}  // namespace bench
