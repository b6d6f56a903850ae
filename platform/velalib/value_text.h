// The textual forms of primitive values: to text for print and XML, and from text for XML.
#pragma once

#include <string_view>

#include "velalib/types.h"

namespace velalib {

/** Long enough for every form below. */
constexpr size_t value_text_room = 80;

// Each writes at most value_text_room characters without a terminator and returns how many.

u_int32 format_value(char *out, u_int8 value);
u_int32 format_value(char *out, u_int16 value);
u_int32 format_value(char *out, u_int32 value);
u_int32 format_value(char *out, u_int64 value);
u_int32 format_value(char *out, int8 value);
u_int32 format_value(char *out, int16 value);
u_int32 format_value(char *out, int32 value);
u_int32 format_boolean(char *out, vela_boolean value);
u_int32 format_value(char *out, const en_address &value);
/** "192.0.2.1", "2001:db8::1%3", nothing for no address; "raw:FAMILY:BYTES:SCOPE" for what these cannot carry. */
u_int32 format_value(char *out, const ip_address &value);
/** "ID:TABLE:AFI:SAFI". */
u_int32 format_value(char *out, const vrf_info &value);
/** "id ID table TABLE afi AFI safi SAFI". */
u_int32 describe_value(char *out, const vrf_info &value);

// Each reads a whole text, without blanks around it, and answers false when it is no value of the type.

bool parse_value(std::string_view text, u_int8 *value);
bool parse_value(std::string_view text, u_int16 *value);
bool parse_value(std::string_view text, u_int32 *value);
bool parse_value(std::string_view text, u_int64 *value);
bool parse_value(std::string_view text, int8 *value);
bool parse_value(std::string_view text, int16 *value);
bool parse_value(std::string_view text, int32 *value);
bool parse_boolean(std::string_view text, vela_boolean *value);
bool parse_value(std::string_view text, en_address *value);
bool parse_value(std::string_view text, ip_address *value);
bool parse_value(std::string_view text, vrf_info *value);

}  // namespace velalib
