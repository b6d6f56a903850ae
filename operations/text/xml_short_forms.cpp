// Reads addresses, lists of bytes and numbers of enumerations as people write them.
#include "operations/text/xml_short_forms.h"

#include <string.h>

namespace ptp_cfg {

namespace {

constexpr const char *blanks = " \t\r\n";

/** Whether nothing but blanks follows. */
bool ends(const char *text) { return text[strspn(text, blanks)] == '\0'; }

int hex_digit(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

/** Takes a number from 0 to 255 off a text. */
bool take_octet(const char **text, u_int32 *octet) {
    const char *at = *text;
    *octet = 0;
    while (*at >= '0' && *at <= '9' && at - *text < 3) {
        *octet = *octet * 10 + static_cast<u_int32>(*at++ - '0');
    }
    const bool is_decimal = at != *text && (**text != '0' || at - *text == 1);  // 010 may be meant as 8
    *text = at;
    return is_decimal && *octet <= 255;
}

}  // namespace

bool is_byte_list(const structure_descriptor &type) {
    return type.field_count == 1 && type.fields[0].is_array && type.fields[0].kind == field_kind::u_int8 &&
           type.fields[0].capacity <= most_listed_bytes;
}

bool read_byte_list(const structure_descriptor &type, const char *text, u_int8 *bytes) {
    text += strspn(text, blanks);
    for (u_int32 i = 0; i < type.fields[0].capacity; ++i) {
        if (i != 0 && *text++ != '-') {
            return false;
        }
        const int high = hex_digit(text[0]);
        const int low = high < 0 ? -1 : hex_digit(text[1]);
        if (low < 0) {
            return false;
        }
        bytes[i] = static_cast<u_int8>(high * 16 + low);
        text += 2;
    }
    return ends(text);
}

bool is_ipv4_number(const field_descriptor &field) {
    return field.kind == field_kind::u_int32 && field.unit != nullptr && strcmp(field.unit, "IPv4 address") == 0;
}

bool read_ipv4_number(const char *text, u_int32 *number) {
    text += strspn(text, blanks);
    *number = 0;
    for (u_int32 i = 0; i < 4; ++i) {
        u_int32 octet = 0;
        if ((i != 0 && *text++ != '.') || !take_octet(&text, &octet)) {
            return false;
        }
        *number = *number << 8 | octet;
    }
    return ends(text);
}

}  // namespace ptp_cfg
