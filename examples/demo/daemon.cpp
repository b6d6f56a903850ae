// Plays a PTP daemon: receives the configuration of a clock, keeps it, and answers with the clock's state.
//
//     demo_daemon URI RECORD [--trace FILE]
//
// URI: where to listen; RECORD: file for the received messages as XML; FILE: where the library's trace is kept, which
// `ptpcfg trace FILE` shows, also after a crash.
//
// Messages reach the functions ptp_cfg_<message>_handler below because the library looks for them by name.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bitlog.h"
#include "reports.h"

namespace {

/** The daemon's clocks: one is enough here. */
struct daemon_state {
    vela_handle *handle;
    vela_channel *channel;
    ptp_clock *clock = nullptr;
    bool peer_has_left = false;
};

ptp_clock_default_ds *data_set_of(const daemon_state &state, u_int32 *err) {
    return ptp_clock_default_data_set_get(state.handle, demo::mem_class, state.clock, err);
}

/** Answers whoever is being served with the clock's default data set as it is now. */
void report_data_set(const daemon_state &state) {
    u_int32 err = 0;
    auto *message = ptp_clk_default_ds_msg_message_create(state.handle, demo::mem_class);
    auto *report =
        ptp_clk_default_ds_msg_message_ptp_clock_default_ds_get(state.handle, demo::mem_class, message, &err);
    ptp_clock_default_ds_set(state.handle, demo::mem_class, report, data_set_of(state, &err), &err);
    u_int8 bytes[1024];
    const u_int32 length =
        ptp_clk_default_ds_msg_message_marshal(state.handle, demo::mem_class, bytes, message, sizeof bytes, &err);
    vela_channel_reply(state.channel, bytes, length, &err);
    ptp_clk_default_ds_msg_message_destroy(state.handle, demo::mem_class, message);
    demo::check(err, "report the data set");
}

/** Takes over what a modify command brings. */
void apply(const daemon_state &state, ptp_clock_params *params, u_int32 *err) {
    ptp_clock_default_ds *data_set = data_set_of(state, err);
    const u_int8 before = ptp_clock_default_ds_priority2_get_value(state.handle, demo::mem_class, data_set, err);
    const u_int8 now = ptp_clock_params_priority2_get_value(state.handle, demo::mem_class, params, err);
    ptp_clock_default_ds_priority2_set_value(state.handle, demo::mem_class, data_set, now, err);
    ptp_clock_default_ds_clock_quality_set(
        state.handle, demo::mem_class, data_set,
        ptp_clock_params_clock_quality_get(state.handle, demo::mem_class, params, err), err);
    demo::say("priority2 was " + std::to_string(before) + " and is now " + std::to_string(now));
}

/** Gives every message of a bundle to the handler of its type, which then owns it. */
void on_bundle(vela_handle *handle, u_int32 mem_class, const u_int8 *bundle, u_int32 length, void *context) {
    u_int32 err = 0;
    ptp_cfg_bundle_report report{};
    ptp_cfg_dispatch_bundle(handle, mem_class, nullptr, context, bundle, length, &report, &err);
    if (err != 0) {  // whatever a peer sends, the daemon goes on
        demo::say("message " + std::to_string(report.first.index + 1) + " of " + std::to_string(report.messages) +
                  ": " + report.first.reason);
    }
}

void on_event(void *cookie, vela_channel *, const vela_channel_event *event) {
    if (event->kind == VELA_CHANNEL_DISCONNECTED) {
        static_cast<daemon_state *>(cookie)->peer_has_left = true;
    }
}

}  // namespace

void ptp_cfg_ptp_clock_cfg_message_handler(vela_handle *handle, u_int32 mem_class, void *context,
                                           ptp_clock_cfg_message *message, u_int32 *err) {
    auto *state = static_cast<daemon_state *>(context);
    demo::say("received the configuration of a clock:");
    demo::show(demo::printed(ptp_cfg_type_find("ptp_clock_cfg_message"), handle, message));
    state->clock = ptp_clock_cfg_message_ptp_clock_get_detach(handle, mem_class, message, err);
    ptp_clock_cfg_message_destroy(handle, mem_class, message);
    demo::report_state(handle, state->channel, data_set_of(*state, err));
}

void ptp_cfg_ptp_clock_modify_cmd_message_handler(vela_handle *handle, u_int32 mem_class, void *context,
                                                  ptp_clock_modify_cmd_message *message, u_int32 *err) {
    auto *state = static_cast<daemon_state *>(context);
    demo::say("received a modify command");
    apply(*state, ptp_clock_modify_cmd_message_ptp_clock_params_get(handle, mem_class, message, err), err);
    ptp_clock_modify_cmd_message_destroy(handle, mem_class, message);
    report_data_set(*state);
}

void ptp_cfg_ptp_clock_delete_cmd_message_handler(vela_handle *handle, u_int32 mem_class, void *context,
                                                  ptp_clock_delete_cmd_message *message, u_int32 *err) {
    auto *state = static_cast<daemon_state *>(context);
    auto *command = ptp_clock_delete_cmd_message_ptp_clock_delete_get(handle, mem_class, message, err);
    const u_int8 clock = ptp_clock_delete_clock_id_get_value(handle, mem_class, command, err);
    demo::say("received a delete command; clock " + std::to_string(clock) + " is gone");
    ptp_clock_destroy(handle, mem_class, state->clock);
    state->clock = nullptr;
    ptp_clock_delete_cmd_message_destroy(handle, mem_class, message);
}

int main(int argc, char **argv) {
    demo::introduce("daemon");
    const bool traces = argc == 5 && std::strcmp(argv[3], "--trace") == 0;
    if (argc != 3 && !traces) {
        std::fprintf(stderr, "usage: %s URI RECORD [--trace FILE], for example unix:/run/ptp.sock record.xml\n",
                     argv[0]);
        return 2;
    }
    if (traces) {
        demo::check(bitlog_ring_open(argv[4], 0), std::string("trace into ") + argv[4]);
    }
    std::FILE *record = std::fopen(argv[2], "w");
    demo::check(record == nullptr ? u_int32{VELA_ENOENT} : 0, std::string("write ") + argv[2]);
    velalib_msg_recorder_set(1, record);

    daemon_state state{};
    state.handle = demo::create_handle();
    vela_channel_options options{};
    options.size = sizeof options;
    options.event = on_event;
    options.event_cookie = &state;
    u_int32 err = 0;
    ptp_cfg_bundle_handler_register(on_bundle);
    char reason[256] = "";
    state.channel = vela_channel_listen(demo::domain, argv[1], &options, reason, sizeof reason, &err);
    demo::check(err, std::string("listen at ") + argv[1] + ": " + reason);

    while (!state.peer_has_left) {
        demo::process(state.channel, state.handle, &state);
    }
    demo::say("the control plane has left; so do I");

    ptp_cfg_bundle_handler_unregister();
    vela_channel_close(state.channel, nullptr);
    velalib_msg_recorder_set(0, nullptr);
    std::fclose(record);
    vela_handle_report left{};
    vela_handle_destroy(state.handle, &left);
    return left.blocks == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
