// What the tests of the receive calls share: the one handler that the program has, and bytes of every message.
#pragma once

#include <cstdio>

#include "ptp_cfg/receive.h"
#include "records.h"

namespace ptp_cfg_test {

/** What the application's handler of delete commands for clocks does; it destroys the message, as a handler shall. */
struct handler_state {
    u_int32 calls = 0;
    u_int32 error = 0;  // what it reports
    void *context = nullptr;
    FILE *record = nullptr;  // the recorder's stream, if any
    long recorded = 0;       // what was in it when the handler was called
};
extern handler_state clock_handler;

inline octets bytes_of(const char *name, u_int32 tracking = 0) {
    const record_type type(name);
    const test_handle sender({.tracking = tracking});
    const auto message = type.create(sender);
    fill(type, sender, message.get(), filling::random);
    return type.marshal(sender, message.get());
}

inline std::vector<octets> every_message(u_int32 tracking) {
    std::vector<octets> result;
    for (const record_type &type : record_types(PTP_CFG_MESSAGE)) {
        result.push_back(bytes_of(type.about.name, tracking));
    }
    return result;
}

inline u_int32 size_of(const octets &bytes) { return static_cast<u_int32>(bytes.size()); }

/** A receiver that destroys what it is given. */
inline void destroy_it(vela_handle *handle, u_int32 mem_class, void *, const ptp_cfg_type *type, void *message,
                       u_int32 *) {
    ptp_cfg_message_destroy(handle, mem_class, type, message);
}

}  // namespace ptp_cfg_test
