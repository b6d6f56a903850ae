// Plays a control plane: reads a clock's configuration from XML, sends it, changes it, and deletes the clock.
//
//     demo_control_plane URI CLOCK.xml
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "reports.h"

namespace {

/** What has been heard of the daemon. */
struct control_plane {
    vela_handle *handle;
    vela_channel *channel;
    unsigned reports = 0;
};

ptp_clock_cfg_message *read_configuration(vela_handle *handle, const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    demo::check(text.empty() ? u_int32{VELA_ENOENT} : 0, "read " + path + ": the file is missing or empty");
    // People write such files, so a name that is misspelt must not pass unnoticed.
    const vela_xml_options strict = {sizeof strict, VELA_XML_STRICT | VELA_XML_ALL_PAYLOADS, nullptr, nullptr};
    char reason[256] = "";
    u_int32 err = 0;
    vela_xml_document *document = vela_xml_parse_with(text.data(), text.size(), &strict, &err, reason, sizeof reason);
    demo::check(err, "read " + path + ": " + reason);
    ptp_clock_cfg_message *message =
        ptp_clock_cfg_message_from_xml(handle, demo::mem_class, document, &err, reason, sizeof reason);
    vela_xml_destroy(document);
    demo::check(err, "use " + path + ": " + reason);
    return message;
}

void send(const control_plane &self, const u_int8 *bytes, u_int32 length, u_int32 *err) {
    demo::say("sending " + std::to_string(length) + " bytes");
    vela_channel_send(self.channel, bytes, length, err);
    demo::check(*err, "send a message");
}

void wait_for_report(control_plane &self) {
    const unsigned before = self.reports;
    while (self.reports == before) {
        demo::process(self.channel, self.handle, &self);
    }
}

void configure(control_plane &self, const std::string &path) {
    demo::say("reading " + path);
    ptp_clock_cfg_message *message = read_configuration(self.handle, path);
    u_int8 bytes[1024];
    u_int32 err = 0;
    const u_int32 length =
        ptp_clock_cfg_message_marshal(self.handle, demo::mem_class, bytes, message, sizeof bytes, &err);
    ptp_clock_cfg_message_destroy(self.handle, demo::mem_class, message);
    send(self, bytes, length, &err);
    wait_for_report(self);
}

/** Makes the clock win against equals. */
void modify(control_plane &self) {
    demo::say("changing priority2 to 100");
    u_int32 err = 0;
    auto *message = ptp_clock_modify_cmd_message_create(self.handle, demo::mem_class);
    auto *params = ptp_clock_modify_cmd_message_ptp_clock_params_get(self.handle, demo::mem_class, message, &err);
    auto *quality = ptp_clock_params_clock_quality_get(self.handle, demo::mem_class, params, &err);
    ptp_clock_params_clock_id_set_value(self.handle, demo::mem_class, params, 1, &err);
    ptp_clock_params_priority1_set_value(self.handle, demo::mem_class, params, 128, &err);
    ptp_clock_params_priority2_set_value(self.handle, demo::mem_class, params, 100, &err);
    ptp_clock_params_local_priority_set_value(self.handle, demo::mem_class, params, 128, &err);
    ptp_clock_quality_clock_class_set_value(self.handle, demo::mem_class, quality, 248, &err);
    ptp_clock_quality_offset_scaled_log_var_set_value(self.handle, demo::mem_class, quality, -1, &err);
    u_int8 bytes[1024];
    const u_int32 length =
        ptp_clock_modify_cmd_message_marshal(self.handle, demo::mem_class, bytes, message, sizeof bytes, &err);
    ptp_clock_modify_cmd_message_destroy(self.handle, demo::mem_class, message);
    send(self, bytes, length, &err);
    wait_for_report(self);
}

void remove(control_plane &self) {
    demo::say("deleting the clock");
    u_int32 err = 0;
    auto *message = ptp_clock_delete_cmd_message_create(self.handle, demo::mem_class);
    auto *command = ptp_clock_delete_cmd_message_ptp_clock_delete_get(self.handle, demo::mem_class, message, &err);
    ptp_clock_delete_clock_id_set_value(self.handle, demo::mem_class, command, 1, &err);
    u_int8 bytes[256];
    const u_int32 length =
        ptp_clock_delete_cmd_message_marshal(self.handle, demo::mem_class, bytes, message, sizeof bytes, &err);
    ptp_clock_delete_cmd_message_destroy(self.handle, demo::mem_class, message);
    send(self, bytes, length, &err);
}

/** Shows whatever the daemon reports; no handler of a particular message is needed for that. */
void on_report(vela_handle *handle, u_int32 mem_class, void *context, const ptp_cfg_type *type, void *message,
               u_int32 *) {
    ptp_cfg_type_description description{};
    description.size = sizeof description;
    ptp_cfg_type_describe(type, &description);
    demo::say(std::string("the daemon reports ") + description.short_name + ":");
    if (type == ptp_cfg_type_find("ptp_stream_runtime_state_msg")) {
        demo::show_streams(handle, static_cast<ptp_stream_runtime_state_msg_message *>(message));  // 600 lines else
    } else {
        demo::show(demo::printed(type, handle, message));
    }
    ptp_cfg_message_destroy(handle, mem_class, type, message);
    ++static_cast<control_plane *>(context)->reports;
}

void on_bundle(vela_handle *handle, u_int32 mem_class, const u_int8 *bundle, u_int32 length, void *context) {
    u_int32 err = 0;
    ptp_cfg_dispatch_bundle(handle, mem_class, on_report, context, bundle, length, nullptr, &err);
    demo::check(err, "understand a report");
}

}  // namespace

int main(int argc, char **argv) {
    demo::introduce("control plane");
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s URI CLOCK.xml, for example unix:/run/ptp.sock clock.xml\n", argv[0]);
        return 2;
    }
    control_plane self{};
    self.handle = demo::create_handle();
    u_int32 err = 0;
    ptp_cfg_bundle_handler_register(on_bundle);
    char reason[256] = "";
    self.channel = vela_channel_connect(demo::domain, argv[1], nullptr, reason, sizeof reason, &err);
    demo::check(err, std::string("connect to ") + argv[1] + ": " + reason);

    configure(self, argv[2]);
    modify(self);
    remove(self);

    ptp_cfg_bundle_handler_unregister();
    vela_channel_close(self.channel, nullptr);
    vela_handle_report left{};
    vela_handle_destroy(self.handle, &left);
    return left.blocks == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
