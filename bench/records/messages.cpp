// The example clock message and the handler that receives it.
#include "records/messages.h"

void ptp_cfg_ptp_clock_cfg_message_handler(vela_handle *handle, u_int32 mem_class, void *context,
                                           ptp_clock_cfg_message *message, u_int32 *) {
    auto *got = static_cast<bench::receipt *>(context);
    ++got->messages;
    if (got->keep) {
        got->kept = message;
    } else {
        ptp_clock_cfg_message_destroy(handle, mem_class, message);
    }
}

namespace bench {

ptp_clock_cfg_message *make_clock_message(vela_handle *handle) {
    u_int32 err = 0;
    ptp_clock_cfg_message *message = ptp_clock_cfg_message_create(handle, mem_class);
    ptp_clock_cfg_message_ptp_clock_free_and_set(handle, mem_class, message, make_example<clock_record<>>(handle),
                                                 &err);
    require(err == 0, "make a clock message");
    return message;
}

void write_clock_message(u_int8 *bytes) {
    vela_handle *handle = make_handle();
    u_int32 err = 0;
    ptp_clock_cfg_message_marshal(handle, mem_class, bytes, make_clock_message(handle), clock_message_width, &err);
    require(err == 0, "marshal a clock message");
    vela_handle_destroy(handle, nullptr);
}

bool is_example(vela_handle *handle, receipt &got) {
    if (got.kept == nullptr) {
        return false;
    }
    u_int32 err = 0;
    ptp_clock *clock = ptp_clock_cfg_message_ptp_clock_get(handle, mem_class, got.kept, &err);
    const bool equal = clock_record<>::read(handle, clock, &err) == clock_record<>::example() && err == 0;
    ptp_clock_cfg_message_destroy(handle, mem_class, got.kept);
    got.kept = nullptr;
    return equal;
}

}  // namespace bench
