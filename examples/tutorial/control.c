/* A control plane: configures a clock, and waits for the daemon's answer. */
#include <stdio.h>
#include <stdlib.h>

#include "ptp_cfg.h"
#include "vela_transport.h"
#include "velalib/error_text.h"

static int answered;

/* The answer, by the name of its message. */
void ptp_cfg_ptp_clk_default_ds_msg_message_handler(
    vela_handle *handle, u_int32 mem_class, void *context,
    ptp_clk_default_ds_msg_message *message, u_int32 *err) {
    (void)context;
    ptp_clock_default_ds *data_set =
        ptp_clk_default_ds_msg_message_ptp_clock_default_ds_get(handle, mem_class,
                                                                message, err);
    printf("the daemon has domain %u, priority2 %u\n",
           ptp_clock_default_ds_clk_domain_get_value(handle, mem_class, data_set, err),
           ptp_clock_default_ds_priority2_get_value(handle, mem_class, data_set, err));
    ptp_clk_default_ds_msg_message_destroy(handle, mem_class, message);
    answered = 1;
}

static void on_bundle(vela_handle *handle, u_int32 mem_class, const u_int8 *bytes,
                      u_int32 length, void *context) {
    u_int32 err = 0;
    ptp_cfg_dispatch_bundle(handle, mem_class, NULL, context, bytes, length, NULL,
                            &err);
}

/* A call that finds err set does nothing, so that one test at the end is enough. */
static void send_clock(vela_handle *handle, vela_channel *channel, int priority2,
                       u_int32 *err) {
    u_int8 bytes[1024];
    ptp_clock_cfg_message *message = ptp_clock_cfg_message_create(handle, 0);
    ptp_clock *clock = ptp_clock_cfg_message_ptp_clock_get(handle, 0, message, err);
    ptp_clock_default_ds *data_set =
        ptp_clock_default_data_set_get(handle, 0, clock, err);
    ptp_clock_clk_profile_set_value(handle, 0, clock, VELA_PTP_PHASE_PROFILE_G8275_1,
                                    err);
    ptp_clock_clk_type_set_value(handle, 0, clock, VELA_PTP_CFG_CLK_TYPE_BOUNDARY, err);
    ptp_clock_default_ds_clk_domain_set_value(handle, 0, data_set, 24, err);
    ptp_clock_default_ds_priority2_set_value(handle, 0, data_set, (u_int8)priority2,
                                             err);
    u_int32 length =
        ptp_clock_cfg_message_marshal(handle, 0, bytes, message, sizeof bytes, err);
    vela_channel_send(channel, bytes, length, err);
    ptp_clock_cfg_message_destroy(handle, 0, message);
}

int main(int argc, char **argv) {
    u_int32 err = 0;
    char text[256] = "";
    if (argc != 3) {
        fprintf(stderr, "usage: control URI PRIORITY2\n");
        return 2;
    }
    vela_handle *handle = vela_handle_create(NULL, &err);
    gable_bundle_handler_register(on_bundle);
    vela_channel *channel = vela_channel_connect("gable", argv[1], NULL, NULL, 0, &err);
    send_clock(handle, channel, atoi(argv[2]), &err);
    while (err == 0 && !answered && vela_channel_wait(channel, 5000)) {
        vela_channel_process(channel, handle, 0, NULL, 0, &err);
    }
    if (!answered) {
        vela_error_text(handle, err, text, sizeof text);
        fprintf(stderr, "control: no answer: %s\n", text);
    }
    vela_channel_close(channel, NULL);
    vela_handle_destroy(handle, NULL);
    return answered ? 0 : 1;
}
