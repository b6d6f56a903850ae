// A clock message created, marshalled, unmarshalled and destroyed on both sides, with nothing between them.
#include "harness/contender.h"
#include "records/messages.h"
#include "records/records.h"

namespace bench {
namespace {

struct fixture {
    vela_handle *sender = make_handle();
    vela_handle *receiver = make_handle();
    receipt got;
    u_int32 err = 0;

    u_int32 pass() {
        u_int8 bytes[256];
        ptp_clock_cfg_message *each = ptp_clock_cfg_message_create(sender, mem_class);
        const u_int32 length = ptp_clock_cfg_message_marshal(sender, mem_class, bytes, each, sizeof bytes, &err);
        ptp_clock_cfg_message_destroy(sender, mem_class, each);
        return ptp_cfg_dispatch(receiver, mem_class, &got, nullptr, nullptr, bytes, length, &err);
    }
};

std::string check() {
    return own<fixture>().pass() == clock_message_width && own<fixture>().err == 0 ? "" : "the message was lost";
}

contender in(const char *scenario) {
    return {scenario, "codec alone", check, {{"message of a bundle", [](benchmark::State &state) {
                                                  repeat(state, [] { return own<fixture>().pass(); });
                                              }}}};
}

const contender entries[] = {in("transport_inproc"), in("transport_unix"), in("transport_tcp")};

}  // namespace
}  // namespace bench
