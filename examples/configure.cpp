// Configures a clock in C++: fills a message, encodes it, and gives what arrives to the function that takes its type.
#include <iostream>

#include "ptp_cfg.hpp"
#include "ptp_cfg/cpp/formats.hpp"

namespace {

ptp::result<ptp::clock_cfg_message> boundary_clock(vela_handle *handle) {
    ptp::result<ptp::clock_cfg_message> message = ptp::clock_cfg_message::create(handle);
    if (message) {
        ptp::clock_view clock = message->clock();
        clock.set_clk_profile(ptp::clock_profile::PHASE_PROFILE_G8275_1);
        clock.set_clk_type(ptp::clock_type::CFG_CLK_TYPE_BOUNDARY);
        clock.default_data_set().set_clk_domain(24);
        clock.default_data_set().set_priority2(128);
    }
    return message;  // a setter that failed shows in the next result, here that of encoding
}

int fail(const ptp::error &error) {
    char text[256];
    error.text(text, sizeof text);
    std::cerr << text << '\n';
    return 1;
}

}  // namespace

int main() {
    ptp::result<ptp::handle> handle = ptp::handle::create();
    if (!handle) {
        return fail(handle.error());
    }
    const ptp::result<ptp::clock_cfg_message> message = boundary_clock(*handle);
    if (!message) {
        return fail(message.error());
    }
    u_int8 room[1024];
    const ptp::result<ptp::span<u_int8>> bytes = ptp::encode(*message, room);
    if (!bytes) {
        return fail(bytes.error());
    }
    const auto print = [](ptp::clock_cfg_message received) { std::cout << received; };
    const auto skip = [](ptp::any_message) { std::cout << "another message\n"; };
    const ptp::result<ptp::report> report = ptp::dispatch(*handle, *bytes, print, skip);
    return report && report->failed == 0 ? 0 : 1;
}
