// XML form: one element per value, named after its field.
#pragma once

#include "operations/message/message.h"

namespace ptp_cfg {

/** Where a parse reads from, and where it explains what it does not take. */
struct xml_source {
    vela_xml_document *document;
    char *error_text;  // may be null
    u_int32 error_room;
};

u_int32 enumeration_to_xml(const enumeration_descriptor &type, vela_handle *handle, u_int32 mem_class, const char *name,
                           char *buffer, const void *instance, u_int32 room, u_int32 *err);
u_int32 structure_to_xml(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, const char *name,
                         char *buffer, const void *instance, u_int32 room, u_int8 state_flag, u_int32 *err);
u_int32 message_to_xml(const message_descriptor &type, vela_handle *handle, u_int32 mem_class, char *buffer,
                       const void *message, u_int32 room, u_int32 *err);

void enumeration_from_xml(const enumeration_descriptor &type, vela_handle *handle, const char *path,
                          const xml_source &source, void *instance, u_int32 *err);
void structure_from_xml(const structure_descriptor &type, vela_handle *handle, u_int32 mem_class, const char *path,
                        const xml_source &source, void *instance, u_int32 *err);
void *message_from_xml(const message_descriptor &type, const payload_wire &wire, vela_handle *handle, u_int32 mem_class,
                       const xml_source &source, u_int32 *err);

}  // namespace ptp_cfg
