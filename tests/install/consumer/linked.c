/*
 * Sends a clock to itself over a channel and has what it traces as text. A linker that takes from a static library only
 * what is called would leave out what registers itself, the texts of traces and the reading of bundles: all show here.
 */
#include <stdio.h>
#include <string.h>

#include "bitlog.h"
#include "ptp_cfg.h"
#include "vela_transport.h"

enum { DOMAIN_NUMBER = 44 };

static u_int32 received_domain;
static char traced[256];

void ptp_cfg_ptp_clock_cfg_message_handler(vela_handle *handle, u_int32 mem_class, void *context,
                                           ptp_clock_cfg_message *message, u_int32 *err) {
    ptp_clock *clock = ptp_clock_cfg_message_ptp_clock_get(handle, mem_class, message, err);
    ptp_clock_default_ds *ds = ptp_clock_default_data_set_get(handle, mem_class, clock, err);
    received_domain = ptp_clock_default_ds_clk_domain_get_value(handle, mem_class, ds, err);
    ptp_clock_cfg_message_destroy(handle, mem_class, message);
    (void)context;
}

static void deliver(vela_handle *handle, u_int32 mem_class, const u_int8 *bundle, u_int32 length, void *context) {
    u_int32 err = 0;
    ptp_cfg_dispatch_bundle(handle, mem_class, NULL, context, bundle, length, NULL, &err);
}

static void keep_text(void *cookie, const bitlog_record *record) {
    bitlog_format(record, traced, sizeof traced);
    (void)cookie;
}

static u_int32 send_clock(vela_handle *handle, u_int32 *err) {
    u_int8 bytes[1024];
    ptp_clock_cfg_message *message = ptp_clock_cfg_message_create(handle, 0);
    ptp_clock *clock = ptp_clock_cfg_message_ptp_clock_get(handle, 0, message, err);
    ptp_clock_default_ds *ds = ptp_clock_default_data_set_get(handle, 0, clock, err);
    ptp_clock_default_ds_clk_domain_set_value(handle, 0, ds, DOMAIN_NUMBER, err);
    u_int32 length = ptp_clock_cfg_message_marshal(handle, 0, bytes, message, sizeof bytes, err);
    ptp_clock_cfg_message_destroy(handle, 0, message);

    gable_bundle_handler_register(deliver);
    vela_channel *to = vela_channel_listen("gable", "inproc:linked", NULL, NULL, 0, err);
    vela_channel *from = vela_channel_connect("gable", "inproc:linked", NULL, NULL, 0, err);
    vela_channel_send(from, bytes, length, err);
    for (int tries = 0; tries < 100 && received_domain == 0 && *err == 0; ++tries) {
        vela_channel_process(from, handle, 0, NULL, 0, err);
        vela_channel_wait(to, 100);
        vela_channel_process(to, handle, 0, NULL, 0, err);
    }
    vela_channel_close(from, NULL);
    vela_channel_close(to, NULL);
    return length;
}

int main(void) {
    u_int32 err = 0;
    vela_handle *handle = vela_handle_create(NULL, &err);
    u_int32 length = send_clock(handle, &err);

    u_int32 refused = VELA_EINVAL; /* a call that finds an error does nothing, and traces so */
    bitlog_set_sink(keep_text, NULL);
    ptp_clock_marshal(handle, 0, NULL, NULL, 0, &refused);
    vela_handle_destroy(handle, NULL);
    printf("error %u, %u bytes, domain %u, modules %u of %s, traced: %s\n", err, length, received_domain,
           vela_module_tot_root.count, bitlog_module_name(1), traced);
    return err != 0 || received_domain != DOMAIN_NUMBER || vela_module_tot_root.count != 1 ||
           strcmp(bitlog_module_name(1), "vela_ptp_cfg") != 0 || strstr(traced, "refused: error 22") == NULL;
}
