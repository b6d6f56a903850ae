// Mistakes that must not compile, each under a number; with CASE 0 there is none, and it does.
#include <string>

#include "ptp_cfg/cpp/clock.hpp"
#include "ptp_cfg/cpp/port_stream.hpp"
#if CASE == 16
#include "ptp_cfg/cpp/messages.hpp"
#endif

ptp::port make_port(vela_handle *handle) { return ptp::port::create(handle).value(); }

void mistakes(vela_handle *handle, const ptp::port &constant, ptp::port &port, const ptp::handle &owner) {
    (void)handle;
    (void)constant;
    (void)port;
    (void)owner;
#if CASE == 1  // expect: port_role
    port.set_port_role(ptp::port_state::PORT_STATE_SLAVE);
#elif CASE == 2   // expect: port_role
    port.set_port_role(2);
#elif CASE == 3   // expect: port_role
    const bool same = port.port_role() == ptp::clock_type::CFG_CLK_TYPE_ORDINARY;
    (void)same;
#elif CASE == 4   // expect: delete
    ptp::port copy = port;
#elif CASE == 5   // expect: delete
    port = constant;
#elif CASE == 6   // expect: delete
    ptp::port_view view = make_port(handle);
#elif CASE == 7   // expect: delete
    auto negotiation = make_port(handle).ucast_neg();
    (void)negotiation;
#elif CASE == 8   // expect: delete
    const std::string_view name = make_port(handle).port_name();
    (void)name;
#elif CASE == 9   // expect: delete
    ptp::port_view view = constant;
#elif CASE == 10  // expect: discards qualifiers|not marked const
    constant.set_port_num(1);
#elif CASE == 11  // expect: no member named
    constant.ucast_neg().set_enabled(true);
#elif CASE == 12  // expect: delete
    ptp::port_view view = port;
    view = make_port(handle);
#elif CASE == 13  // expect: delete
    vela_handle *raw = ptp::handle::create().value();
    (void)raw;
#elif CASE == 14  // expect: nodiscard|unused-result|unused-value
    ptp::port::create(handle);
#elif CASE == 15  // expect: invalid operands|no match
    const bool same = port == ptp::clock::create(handle).value();
    (void)same;
#elif CASE == 16  // expect: payload that the message may keep
    ptp::port_cfg_message::create(handle).value().set_port(port);
#else
    ptp::port_const_view view = constant;
    ptp::port_view mutable_view = port;
    mutable_view.set_port_role(ptp::port_role::CFG_PORT_SLAVE);
    port = port.clone().value();
    view = mutable_view;
#endif
}
