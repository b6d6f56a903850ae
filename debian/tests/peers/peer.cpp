// One end of a channel in C++: `receive URI` prints the domain number of the clock that arrives, `send URI NUMBER` sends one.
#include <iostream>
#include <memory>
#include <string>

#include <ptp_cfg.hpp>
#include <vela_transport.h>

namespace {

constexpr int timeout_ms = 10000;

struct Close {
    void operator()(vela_channel *channel) const { vela_channel_close(channel, nullptr); }
};
using Channel = std::unique_ptr<vela_channel, Close>;

void on_bundle(vela_handle *handle, u_int32, const u_int8 *bundle, u_int32 length, void *context) {
    const auto print = [context](ptp::clock_cfg_message message) {
        std::cout << unsigned{*message.clock().default_data_set().clk_domain()} << '\n';
        *static_cast<bool *>(context) = true;
    };
    ptp::dispatch(handle, ptp::span<const u_int8>(bundle, length), print, [](ptp::any_message) {});
}

bool send(vela_handle *handle, vela_channel *channel, u_int8 number) {
    ptp::result<ptp::clock_cfg_message> message = ptp::clock_cfg_message::create(handle);
    if (!message) {
        return false;
    }
    message->clock().default_data_set().set_clk_domain(number);
    u_int8 room[1024];
    const ptp::result<ptp::span<u_int8>> bytes = ptp::encode(*message, room);
    u_int32 err = 0;
    return bytes && vela_channel_send(channel, bytes->data(), static_cast<u_int32>(bytes->size()), &err) == 1;
}

}  // namespace

int main(int argc, char **argv) {
    const bool sends = argc == 4 && argv[1] == std::string("send");
    const ptp::result<ptp::handle> handle = ptp::handle::create();
    if (argc < 3 || !handle) {
        return 2;
    }
    gable_bundle_handler_register(on_bundle);
    u_int32 err = 0;
    const Channel channel(sends ? vela_channel_connect("gable", argv[2], nullptr, nullptr, 0, &err)
                                : vela_channel_listen("gable", argv[2], nullptr, nullptr, 0, &err));
    bool done = channel && sends && send(*handle, channel.get(), static_cast<u_int8>(std::stoi(argv[3])));
    while (channel && !sends && !done && vela_channel_wait(channel.get(), timeout_ms) == 1) {
        vela_channel_process(channel.get(), *handle, 0, &done, 1, &err);
    }
    if (channel) {
        vela_channel_finish(channel.get(), *handle, 0, &done, timeout_ms, &err);
    }
    return done && err == 0 ? 0 : 1;
}
