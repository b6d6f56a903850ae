// Forms of values that people write, read where a document's reader allows them (VELA_XML_SHORT_FORMS).
#pragma once

#include "operations/core/descriptors.h"

namespace ptp_cfg {

constexpr u_int32 most_listed_bytes = 64;

/** Whether a structure is nothing but bytes, at most so many, as an identity is. */
bool is_byte_list(const structure_descriptor &type);
/** Reads AA-BB-CC, as many bytes as the structure has; false for anything else. */
bool read_byte_list(const structure_descriptor &type, const char *text, u_int8 *bytes);

/** Whether a field is a number that stands for an IPv4 address. */
bool is_ipv4_number(const field_descriptor &field);
/** Reads 192.0.2.1; false for anything else. */
bool read_ipv4_number(const char *text, u_int32 *number);

}  // namespace ptp_cfg
