// Strict reading: a document is compared with what its type says before anything is stored.
#pragma once

#include "operations/text/xml.h"

namespace ptp_cfg {

/** Whether a document is to be read strictly. */
bool is_read_strictly(const vela_xml_document *document);

// Each is false when there was a fault, which is told and in *err then. Instances are looked at for their variants alone.

bool admits_enumeration(const enumeration_descriptor &type, vela_handle *handle, const xml_source &source,
                        const void *instance, u_int32 element, u_int32 *err);
bool admits_structure(const structure_descriptor &type, vela_handle *handle, const xml_source &source,
                      const void *instance, u_int32 element, u_int32 *err);
/** @param payloads  receives the elements of the payloads, 0 for those that are not there */
bool admits_message(const message_descriptor &type, vela_handle *handle, const xml_source &source,
                    const message_instance &message, u_int32 *payloads, u_int32 *err);

/** Reads the decimal number that stands in place of a literal; false when there is none. */
bool read_enumeration_number(const char *text, u_int32 *number);

}  // namespace ptp_cfg
