/* One end of a channel in C: `receive URI` prints the domain number of the clock that arrives, `send URI NUMBER` sends one. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <ptp_cfg.h>
#include <vela_transport.h>

enum { TIMEOUT_MS = 10000 };

static void print_clock(vela_handle *handle, u_int32 mem_class, void *context, const ptp_cfg_type *type, void *message,
                        u_int32 *err) {
    if (type == ptp_cfg_type_find("ptp_clock_cfg_message")) {
        ptp_clock *clock = ptp_clock_cfg_message_ptp_clock_get(handle, mem_class, message, err);
        ptp_clock_default_ds *data_set = ptp_clock_default_data_set_get(handle, mem_class, clock, err);
        u_int8 number = 0;
        ptp_clock_default_ds_clk_domain_get_value(handle, mem_class, data_set, &number, err);
        printf("%u\n", (unsigned)number);
        *(int *)context = 1;
    }
    ptp_cfg_message_destroy(handle, mem_class, type, message);
}

static void on_bundle(vela_handle *handle, u_int32 mem_class, const u_int8 *bundle, u_int32 length, void *context) {
    u_int32 err = 0;
    ptp_cfg_dispatch_bundle(handle, mem_class, print_clock, context, bundle, length, NULL, &err);
}

static u_int32 encode_clock(vela_handle *handle, u_int8 number, u_int8 *bytes, u_int32 room, u_int32 *err) {
    ptp_clock_cfg_message *message = ptp_clock_cfg_message_create(handle, 0);
    ptp_clock *clock = ptp_clock_cfg_message_ptp_clock_get(handle, 0, message, err);
    ptp_clock_default_ds *data_set = ptp_clock_default_data_set_get(handle, 0, clock, err);
    ptp_clock_default_ds_clk_domain_set_value(handle, 0, data_set, number, err);
    u_int32 length = ptp_clock_cfg_message_marshal(handle, 0, bytes, message, room, err);
    ptp_clock_cfg_message_destroy(handle, 0, message);
    return length;
}

int main(int argc, char **argv) {
    u_int32 err = 0;
    int arrived = 0;
    char why[256] = "";
    const int sends = argc == 4 && strcmp(argv[1], "send") == 0;
    if (argc < 3) {
        return 2;
    }
    vela_handle *handle = vela_handle_create(NULL, &err);
    gable_bundle_handler_register(on_bundle);
    vela_channel *channel = sends ? vela_channel_connect("gable", argv[2], NULL, why, sizeof why, &err)
                                  : vela_channel_listen("gable", argv[2], NULL, why, sizeof why, &err);
    if (sends) {
        u_int8 bytes[1024];
        const u_int32 length = encode_clock(handle, (u_int8)atoi(argv[3]), bytes, sizeof bytes, &err);
        vela_channel_send(channel, bytes, length, &err);
    }
    while (!sends && err == 0 && !arrived && vela_channel_wait(channel, TIMEOUT_MS)) {
        vela_channel_process(channel, handle, 0, &arrived, 1, &err);
    }
    if (channel != NULL) {
        vela_channel_finish(channel, handle, 0, &arrived, TIMEOUT_MS, &err);
    }
    vela_channel_close(channel, NULL);
    vela_handle_destroy(handle, NULL);
    if (err != 0) {
        fprintf(stderr, "error %u %s\n", (unsigned)err, why);
    }
    return err != 0 || !(sends || arrived);
}
