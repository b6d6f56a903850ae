// An application's handler of a message; the declaration that the library gives for it makes it visible.

#include "ptp_cfg/messages.h"

void ptp_cfg_ptp_port_delete_cmd_message_handler(vela_handle *, u_int32, void *context, ptp_port_delete_cmd_message *,
                                                 u_int32 *) {
    ++*static_cast<int *>(context);
}
