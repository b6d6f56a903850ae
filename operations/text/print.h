// Text form: indented, one line per value.
#pragma once

#include "operations/message/message.h"

namespace ptp_cfg {

u_int32 enumeration_print(const enumeration_descriptor &type, vela_handle *handle, u_int32 mem_class, char *buffer,
                          u_int32 indent, const char *label, const void *instance, u_int32 room, u_int32 *err);
u_int32 structure_print(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, char *buffer,
                        u_int32 indent, const char *label, const void *instance, u_int32 room, u_int32 *err);
u_int32 message_print(const message_descriptor &type, vela_handle *handle, u_int32 mem_class, char *buffer,
                      const void *message, u_int32 room, u_int32 *err);

}  // namespace ptp_cfg
