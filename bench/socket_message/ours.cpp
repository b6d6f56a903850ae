// The clock message from marshal to handler: marshalled, sent over a channel bound to a Unix socket, received by the
// other end of the channel, unmarshalled and given to the application's handler, which destroys it. One thread does
// both ends, so that no scheduler is measured.
#include "socket_message/socket_path.h"

#include "harness/contender.h"
#include "records/messages.h"
#include "records/records.h"
#include "vela_bundle.h"
#include "vela_transport.h"

namespace bench {
namespace {

void on_bundle(vela_handle *handle, u_int32 mem_class, const u_int8 *bundle, u_int32 length, void *context) {
    u_int32 err = 0;
    vela_bundle_reader reader{};
    vela_bundle_read(&reader, bundle, length, &err);
    vela_bundle_item item{};
    while (vela_bundle_next(&reader, &item) != 0) {
        ptp_cfg_dispatch(handle, mem_class, context, nullptr, nullptr, item.message, item.length, &err);
    }
}

struct fixture {
    socket_path place;
    vela_handle *sender = make_handle();
    vela_handle *receiver = make_handle();
    ptp_clock_cfg_message *message = make_clock_message(sender);
    receipt got;
    u_int32 err = 0;
    vela_channel *listening;
    vela_channel *connecting;

    fixture() {
        const std::string uri = "unix:" + place.path();
        listening = vela_channel_listen("gable", uri.c_str(), nullptr, nullptr, 0, &err);
        connecting = vela_channel_connect("gable", uri.c_str(), nullptr, nullptr, 0, &err);
        ptp_cfg_bundle_handler_register(on_bundle);
        require(err == 0, "open a channel at " + uri);
        vela_channel_statistics statistics{};
        for (int tries = 0; tries < 100 && statistics.peers == 0; ++tries) {
            vela_channel_process(connecting, sender, mem_class, nullptr, 0, &err);
            vela_channel_process(listening, receiver, mem_class, &got, 0, &err);
            vela_channel_get_statistics(listening, &statistics);
        }
        require(statistics.peers == 1, "connect to " + uri);
    }
    ~fixture() {
        ptp_cfg_bundle_handler_unregister();
        vela_channel_close(connecting, nullptr);
        vela_channel_close(listening, nullptr);
    }

    u_int32 pass() {
        u_int8 bytes[256];
        const u_int32 length = ptp_clock_cfg_message_marshal(sender, mem_class, bytes, message, sizeof bytes, &err);
        vela_channel_send(connecting, bytes, length, &err);
        return vela_channel_process(listening, receiver, mem_class, &got, 1, &err);
    }
};

fixture &own() {
    static fixture it;
    return it;
}

std::string check() {
    fixture &f = own();
    f.got.keep = true;
    f.pass();
    f.got.keep = false;
    return is_example(f.receiver, f.got) && f.err == 0 ? "" : "another message came, error " + std::to_string(f.err);
}

void time_it(benchmark::State &state) {
    fixture &f = own();
    const u_int64 before = f.got.messages;
    repeat(state, [&] { return f.pass(); });
    if (f.err != 0 || f.got.messages - before != static_cast<u_int64>(state.iterations())) {
        state.SkipWithError("messages were lost");
    }
}

const contender entry("socket_message", "ours", check, {{"to handler", time_it}});

}  // namespace
}  // namespace bench
