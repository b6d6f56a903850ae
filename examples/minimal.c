/* Configures a PTP clock: makes the message, turns it into bytes, reads them back and prints what arrived. */
#include <stdio.h>
#include <string.h>

#include "ptp_cfg.h"

enum { MEM_CLASS = 0 }; /* passed on to an allocator of your own; the default one ignores it */

/* Fills a message. A call that finds err set does nothing, so that one test afterwards is enough. */
static ptp_clock_cfg_message *make_message(vela_handle *handle, u_int32 *err) {
    ptp_clock_cfg_message *message = ptp_clock_cfg_message_create(handle, MEM_CLASS);
    ptp_clock *clock = ptp_clock_cfg_message_ptp_clock_get(handle, MEM_CLASS, message, err);
    ptp_clock_default_ds *data_set = ptp_clock_default_data_set_get(handle, MEM_CLASS, clock, err);

    ptp_clock_clock_handle_set_value(handle, MEM_CLASS, clock, 1, err);
    ptp_clock_clk_type_set_value(handle, MEM_CLASS, clock, VELA_PTP_CFG_CLK_TYPE_BOUNDARY, err);
    ptp_clock_clk_profile_set_value(handle, MEM_CLASS, clock, VELA_PTP_PHASE_PROFILE_G8275_1, err);
    ptp_clock_default_ds_clk_domain_set_value(handle, MEM_CLASS, data_set, 24, err);
    ptp_clock_default_ds_priority2_set_value(handle, MEM_CLASS, data_set, 128, err);
    return message;
}

static void print_message(vela_handle *handle, const ptp_clock_cfg_message *message, u_int32 *err) {
    char text[8192];
    memset(text, ' ', sizeof text); /* print leaves gaps and writes no terminator */
    u_int32 length = ptp_clock_cfg_message_print(handle, MEM_CLASS, text, message, sizeof text, err);
    fwrite(text, 1, length, stdout);
}

int main(void) {
    u_int32 err = 0;
    vela_handle *handle = vela_handle_create(NULL, &err);
    if (handle == NULL) {
        fprintf(stderr, "no handle: error %u\n", err);
        return 1;
    }

    u_int8 bytes[1024];
    ptp_clock_cfg_message *sent = make_message(handle, &err);
    u_int32 length = ptp_clock_cfg_message_marshal(handle, MEM_CLASS, bytes, sent, sizeof bytes, &err);
    ptp_clock_cfg_message_destroy(handle, MEM_CLASS, sent);
    printf("%u bytes\n", length);

    const ptp_cfg_type *type = NULL; /* read from the bytes: any message could have come */
    void *received = ptp_cfg_receive(handle, MEM_CLASS, &type, bytes, length, NULL, &err);
    if (type == ptp_cfg_type_find("ptp_clock_cfg_message")) {
        print_message(handle, received, &err);
    }
    ptp_cfg_message_destroy(handle, MEM_CLASS, type, received);

    vela_handle_destroy(handle, NULL);
    if (err != 0) {
        fprintf(stderr, "error %u\n", err);
    }
    return err != 0;
}
