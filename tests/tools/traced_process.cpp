// A process that traces into a file and comes to a bad end: traced_process wait|flood|abort FILE.
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "bitlog.h"
#include "ptp_cfg/clock.h"
#include "ptp_cfg/enumerations.h"
#include "ptp_cfg/messages.h"

namespace {

constexpr u_int32 mem_class = 0;

/** Three messages of the library: an error, a debug message with strings, one whose argument comes from outside. */
void trace_some(vela_handle *handle) {
    ptp_clock_quality_set_instance_embedded(handle, mem_class, nullptr);
    u_int32 err = VELA_EINVAL;
    ptp_clock_delete_cmd_message *message = nullptr;
    ptp_clock_delete_cmd_message_unmarshal_only(handle, mem_class, &message, nullptr, 0, &err);
    static const bitlog_trace_points points = {"outside", 0, 1};
    __BLf_1(&points, 9999, 0, BITLOG_INFORMATIONAL, "\"\\\n\x1b\xff\xc3\xa9");
}

[[noreturn]] void wait_for_the_end() {
    std::puts("ready");
    std::fflush(stdout);
    for (;;) {
        pause();
    }
}

[[noreturn]] void flood(vela_handle *handle) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([handle] {
            for (;;) {
                ptp_clock_quality_set_instance_embedded(handle, mem_class, nullptr);
            }
        });
    }
    wait_for_the_end();
}

void silent(void *, const bitlog_record *) {}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 3 || bitlog_ring_open(argv[2], 64) != 0) {
        return 2;
    }
    bitlog_set_sink(silent, nullptr);
    const std::string mode = argv[1];
    u_int32 err = 0;
    vela_handle *handle = vela_handle_create(nullptr, &err);
    trace_some(handle);  // before the first instance
    if (mode == "wait") {
        wait_for_the_end();
    } else if (mode == "flood") {
        flood(handle);
    }
    vela_sttr_record broken{};
    broken.mode = 0x1234;
    handle->sttr_record = &broken;
    ptp_clock_quality_create(handle, mem_class);
    return 0;  // the call before does not return
}
