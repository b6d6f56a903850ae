/* A daemon: takes the configuration of a clock that a control plane sends, and
   answers with the clock's data set. */
#include <stdio.h>

#include "ptp_cfg.h"
#include "vela_transport.h"
#include "velalib/error_text.h"

/* Answers the peer whose message is being handled. */
static void answer(vela_handle *handle, vela_channel *channel,
                   const ptp_clock_default_ds *data_set, u_int32 *err) {
    u_int8 bytes[256];
    ptp_clk_default_ds_msg_message *message =
        ptp_clk_default_ds_msg_message_create(handle, 0);
    ptp_clock_default_ds *payload =
        ptp_clk_default_ds_msg_message_ptp_clock_default_ds_get(handle, 0, message,
                                                                err);
    ptp_clock_default_ds_set(handle, 0, payload, data_set, err);
    u_int32 length = ptp_clk_default_ds_msg_message_marshal(handle, 0, bytes, message,
                                                            sizeof bytes, err);
    vela_channel_reply(channel, bytes, length, err);
    ptp_clk_default_ds_msg_message_destroy(handle, 0, message);
}

/* The library finds this function by its name, and gives it each ptp_clock_cfg
   that arrives. The message is ours now. */
void ptp_cfg_ptp_clock_cfg_message_handler(vela_handle *handle, u_int32 mem_class,
                                           void *context,
                                           ptp_clock_cfg_message *message,
                                           u_int32 *err) {
    ptp_clock *clock =
        ptp_clock_cfg_message_ptp_clock_get(handle, mem_class, message, err);
    ptp_clock_default_ds *data_set =
        ptp_clock_default_data_set_get(handle, mem_class, clock, err);
    u_int32 domain =
        ptp_clock_default_ds_clk_domain_get_value(handle, mem_class, data_set, err);
    u_int32 priority2 =
        ptp_clock_default_ds_priority2_get_value(handle, mem_class, data_set, err);
    if (*err == 0) {
        printf("clock: domain %u, priority2 %u\n", domain, priority2);
    }
    answer(handle, context, data_set, err);
    ptp_clock_cfg_message_destroy(handle, mem_class, message);
}

/* Whatever arrives: each message in it goes to its handler. What is wrong is
   told, and the daemon goes on. */
static void on_bundle(vela_handle *handle, u_int32 mem_class, const u_int8 *bytes,
                      u_int32 length, void *channel) {
    u_int32 err = 0;
    char text[256];
    ptp_cfg_dispatch_bundle(handle, mem_class, NULL, channel, bytes, length, NULL,
                            &err);
    if (err != 0) {
        vela_error_text(handle, err, text, sizeof text);
        printf("not taken: %s\n", text);
    }
}

int main(int argc, char **argv) {
    u_int32 err = 0;
    char reason[256] = "";
    vela_handle *handle = vela_handle_create(NULL, &err);
    gable_bundle_handler_register(on_bundle);
    vela_channel *channel = vela_channel_listen("gable", argc > 1 ? argv[1] : "", NULL,
                                                reason, sizeof reason, &err);
    if (err != 0) {
        fprintf(stderr, "daemon: error %u: %s\n", err, reason);
        return 1;
    }
    setvbuf(stdout, NULL, _IOLBF, 0);
    printf("listening at %s\n", vela_channel_uri(channel));
    while (err == 0) {
        vela_channel_wait(channel, -1);
        vela_channel_process(channel, handle, 0, channel, 0,
                             &err); /* the second channel is the handler's context */
    }
    return 1;
}
