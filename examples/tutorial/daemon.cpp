// A daemon: takes the configuration of a clock that a control plane sends, and
// answers with the clock's data set.
#include <iostream>

#include "ptp_cfg.hpp"
#include "ptp_cfg/cpp/formats.hpp"
#include "vela_transport.h"

namespace {

// Answers the peer whose message is being handled; the result is an error where
// that failed.
ptp::result<ptp::span<u_int8>> answer(vela_handle *handle, vela_channel *channel,
                                      ptp::clock_default_ds_view data_set,
                                      ptp::span<u_int8> room) {
    auto message = ptp::clk_default_ds_msg_message::create(handle);
    auto copy = data_set.clone();
    if (!message || !copy) {
        return message ? copy.error() : message.error();
    }
    message->set_clock_default_ds(std::move(*copy));
    auto bytes = ptp::encode(*message, room);
    u_int32 err = 0;
    if (bytes && vela_channel_reply(channel, bytes->data(),
                                    static_cast<u_int32>(bytes->size()), &err) == 0) {
        return ptp::error{err, handle};
    }
    return bytes;
}

// Whatever arrives: each message in it goes to the function that takes its type.
// What is wrong is told.
void on_bundle(vela_handle *handle, u_int32, const u_int8 *bytes, u_int32 length,
               void *context) {
    auto *channel = static_cast<vela_channel *>(context);
    const auto configure = [&](ptp::clock_cfg_message message) {
        ptp::clock_default_ds_view data_set = message.clock().default_data_set();
        std::cout << "clock: domain " << unsigned{data_set.clk_domain()}
                  << ", priority2 " << unsigned{data_set.priority2()} << std::endl;
        u_int8 room[256];
        if (!answer(handle, channel, data_set, room)) {
            std::cout << "not answered" << std::endl;
        }
    };
    const auto report = ptp::dispatch(handle, {bytes, length}, configure);
    if (report && report->failed != 0) {
        std::cout << "not taken: " << report->first.reason << std::endl;
    }
}

}  // namespace

int main(int argc, char **argv) {
    ptp::result<ptp::handle> handle = ptp::handle::create();
    u_int32 err = 0;
    char reason[256] = "";
    gable_bundle_handler_register(on_bundle);
    vela_channel *channel = vela_channel_listen("gable", argc > 1 ? argv[1] : "",
                                                nullptr, reason, sizeof reason, &err);
    if (!handle || err != 0) {
        std::cerr << "daemon: error " << err << ": " << reason << '\n';
        return 1;
    }
    std::cout << "listening at " << vela_channel_uri(channel) << std::endl;
    while (err == 0) {
        vela_channel_wait(channel, -1);
        vela_channel_process(channel, *handle, 0, channel, 0,
                             &err);  // the second channel is the handler's context
    }
    return 1;
}
