// A control plane: configures a clock, and waits for the daemon's answer.
#include <iostream>
#include <string>

#include "ptp_cfg.hpp"
#include "ptp_cfg/cpp/throwing.hpp"
#include "vela_transport.h"

namespace {

void on_bundle(vela_handle *handle, u_int32, const u_int8 *bytes, u_int32 length,
               void *context) {
    const auto show = [&](ptp::clk_default_ds_msg_message message) {
        const auto data_set = message.clock_default_ds();
        std::cout << "the daemon has domain " << unsigned{data_set.clk_domain()}
                  << ", priority2 " << unsigned{data_set.priority2()} << '\n';
        *static_cast<bool *>(context) = true;
    };
    const auto report = ptp::dispatch(handle, {bytes, length}, show);
    if (!report || report->failed != 0) {
        std::cerr << "control: not taken: another message, or none\n";
    }
}

std::vector<u_int8> boundary_clock(vela_handle *handle, int priority2) {
    auto message = ptp::throwing::create<ptp::clock_cfg_message>(handle);
    ptp::clock_view clock = message.clock();
    clock.set_clk_profile(ptp::clock_profile::PHASE_PROFILE_G8275_1);
    clock.set_clk_type(ptp::clock_type::CFG_CLK_TYPE_BOUNDARY);
    clock.default_data_set().set_clk_domain(24);
    clock.default_data_set().set_priority2(static_cast<u_int8>(priority2));
    return ptp::throwing::to_bytes(
        message);  // throws also when one of the setters failed
}

bool configure(const char *uri, int priority2) {
    ptp::handle handle = ptp::throwing::make_handle();
    u_int32 err = 0;
    bool answered = false;
    gable_bundle_handler_register(on_bundle);
    vela_channel *channel =
        vela_channel_connect("gable", uri, nullptr, nullptr, 0, &err);
    const std::vector<u_int8> bytes = boundary_clock(handle, priority2);
    vela_channel_send(channel, bytes.data(), static_cast<u_int32>(bytes.size()), &err);
    while (err == 0 && !answered && vela_channel_wait(channel, 5000) != 0) {
        vela_channel_process(channel, handle, 0, &answered, 0, &err);
    }
    vela_channel_close(channel, nullptr);
    return answered;
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 3) {
        std::cerr << "usage: control URI PRIORITY2\n";
        return 2;
    }
    try {
        if (configure(argv[1], std::stoi(argv[2]))) {
            return 0;
        }
        std::cerr << "control: no answer\n";
    } catch (const std::exception &error) {
        std::cerr << "control: " << error.what() << '\n';
    }
    return 1;
}
