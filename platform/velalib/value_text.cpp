#include "value_text.h"

#include <arpa/inet.h>

#include <charconv>
#include <cstring>
#include <limits>

#include "bounded_text.h"

namespace velalib {

namespace {

template <typename T>
u_int32 format_number(char *out, T value) {
    return static_cast<u_int32>(std::to_chars(out, out + value_text_room, value).ptr - out);
}

/** Takes the text before the next ':' off a list; false when there is none. */
bool take_item(std::string_view *list, std::string_view *item) {
    const size_t colon = list->find(':');
    if (colon == std::string_view::npos) return false;
    *item = list->substr(0, colon);
    list->remove_prefix(colon + 1);
    return true;
}

/** Decimal, or hexadecimal after 0x, without a sign. */
bool parse_magnitude(std::string_view text, u_int64 *magnitude) {
    int base = 10;
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        base = 16;
        text.remove_prefix(2);
    }
    const char *end = text.data() + text.size();
    const std::from_chars_result result = std::from_chars(text.data(), end, *magnitude, base);
    return result.ec == std::errc() && result.ptr == end;
}

template <typename T>
bool parse_number(std::string_view text, T *value) {
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+')) text.remove_prefix(1);
    u_int64 magnitude = 0;
    if (!parse_magnitude(text, &magnitude)) return false;
    constexpr u_int64 largest = static_cast<u_int64>(std::numeric_limits<T>::max());
    if (!negative) {
        if (magnitude > largest) return false;
        *value = static_cast<T>(magnitude);
        return true;
    }
    constexpr u_int64 lowest = std::numeric_limits<T>::is_signed ? largest + 1 : 0;
    if (magnitude > lowest) return false;
    *value = static_cast<T>(u_int64{0} - magnitude);
    return true;
}

int hex_digit(char digit) {
    if (digit >= '0' && digit <= '9') return digit - '0';
    if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
    if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
    return -1;
}

bool parse_hex_byte(const char *digits, u_int8 *byte) {
    const int high = hex_digit(digits[0]);
    const int low = hex_digit(digits[1]);
    if (high < 0 || low < 0) return false;
    *byte = static_cast<u_int8>(high * 16 + low);
    return true;
}

bool is_zero(const u_int8 *bytes, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        if (bytes[i] != 0) return false;
    }
    return true;
}

u_int32 format_raw_address(char *out, const ip_address &value) {
    bounded_text text(out, value_text_room);
    text.append("raw:");
    text.append_number(value.family & 0xFFu);
    text.append(':');
    for (const u_int8 byte : value.bytes) text.append_hex_byte(byte);
    text.append(':');
    text.append_number(value.scope_id);
    return text.length();
}

/** FAMILY:BYTES:SCOPE */
bool parse_raw_address(std::string_view text, ip_address *value) {
    std::string_view family, bytes;
    u_int8 family_number = 0;
    if (!take_item(&text, &family) || !take_item(&text, &bytes) || bytes.size() != 2 * sizeof value->bytes) {
        return false;
    }
    for (size_t i = 0; i < sizeof value->bytes; ++i) {
        if (!parse_hex_byte(bytes.data() + 2 * i, &value->bytes[i])) return false;
    }
    if (!parse_number(family, &family_number) || !parse_number(text, &value->scope_id)) return false;
    value->family = family_number;
    return true;
}

bool parse_v6_address(std::string_view text, ip_address *value) {
    const size_t percent = text.find('%');
    if (percent != std::string_view::npos) {
        if (!parse_number(text.substr(percent + 1), &value->scope_id)) return false;
        text = text.substr(0, percent);
    }
    char terminated[INET6_ADDRSTRLEN];
    if (text.size() >= sizeof terminated) return false;
    memcpy(terminated, text.data(), text.size());
    terminated[text.size()] = '\0';
    value->family = VELA_IP_V6;
    return inet_pton(AF_INET6, terminated, value->bytes) == 1;
}

bool parse_v4_address(std::string_view text, ip_address *value) {
    char terminated[INET_ADDRSTRLEN];
    if (text.size() >= sizeof terminated) return false;
    memcpy(terminated, text.data(), text.size());
    terminated[text.size()] = '\0';
    value->family = VELA_IP_V4;
    return inet_pton(AF_INET, terminated, value->bytes) == 1;
}

}  // namespace

u_int32 format_value(char *out, u_int8 value) { return format_number(out, value); }
u_int32 format_value(char *out, u_int16 value) { return format_number(out, value); }
u_int32 format_value(char *out, u_int32 value) { return format_number(out, value); }
u_int32 format_value(char *out, u_int64 value) { return format_number(out, value); }
u_int32 format_value(char *out, int8 value) { return format_number(out, value); }
u_int32 format_value(char *out, int16 value) { return format_number(out, value); }
u_int32 format_value(char *out, int32 value) { return format_number(out, value); }

u_int32 format_boolean(char *out, vela_boolean value) {
    const std::string_view text = value != 0 ? "true" : "false";
    memcpy(out, text.data(), text.size());
    return static_cast<u_int32>(text.size());
}

u_int32 format_value(char *out, const en_address &value) {
    bounded_text text(out, value_text_room);
    for (size_t i = 0; i < sizeof value.octet; ++i) {
        if (i != 0) text.append(':');
        text.append_hex_byte(value.octet[i]);
    }
    return text.length();
}

u_int32 format_value(char *out, const ip_address &value) {
    const u_int32 family = value.family & 0xFFu;
    bounded_text text(out, value_text_room);
    char address[INET6_ADDRSTRLEN];
    if (family == VELA_IP_V6) {
        text.append(inet_ntop(AF_INET6, value.bytes, address, sizeof address));
        if (value.scope_id != 0) {
            text.append('%');
            text.append_number(value.scope_id);
        }
        return text.length();
    }
    const size_t used = family == VELA_IP_V4 ? 4 : 0;
    if ((family != VELA_IP_V4 && family != VELA_IP_NONE) || value.scope_id != 0 ||
        !is_zero(value.bytes + used, sizeof value.bytes - used)) {
        return format_raw_address(out, value);
    }
    if (family == VELA_IP_V4) text.append(inet_ntop(AF_INET, value.bytes, address, sizeof address));
    return text.length();
}

u_int32 format_value(char *out, const vrf_info &value) {
    bounded_text text(out, value_text_room);
    text.append_number(value.id);
    for (const u_int32 number : {value.table_id, value.afi, value.safi}) {
        text.append(':');
        text.append_number(number);
    }
    return text.length();
}

u_int32 describe_value(char *out, const vrf_info &value) {
    bounded_text text(out, value_text_room);
    text.append("id ");
    text.append_number(value.id);
    text.append(" table ");
    text.append_number(value.table_id);
    text.append(" afi ");
    text.append_number(value.afi);
    text.append(" safi ");
    text.append_number(value.safi);
    return text.length();
}

bool parse_value(std::string_view text, u_int8 *value) { return parse_number(text, value); }
bool parse_value(std::string_view text, u_int16 *value) { return parse_number(text, value); }
bool parse_value(std::string_view text, u_int32 *value) { return parse_number(text, value); }
bool parse_value(std::string_view text, u_int64 *value) { return parse_number(text, value); }
bool parse_value(std::string_view text, int8 *value) { return parse_number(text, value); }
bool parse_value(std::string_view text, int16 *value) { return parse_number(text, value); }
bool parse_value(std::string_view text, int32 *value) { return parse_number(text, value); }

bool parse_boolean(std::string_view text, vela_boolean *value) {
    if (text == "true" || text == "1") {
        *value = 1;
    } else if (text == "false" || text == "0") {
        *value = 0;
    } else {
        return false;
    }
    return true;
}

bool parse_value(std::string_view text, en_address *value) {
    constexpr size_t octets = sizeof value->octet;
    if (text.size() != octets * 3 - 1) return false;
    for (size_t i = 0; i < octets; ++i) {
        if (i != 0 && text[3 * i - 1] != ':' && text[3 * i - 1] != '-') return false;
        if (!parse_hex_byte(text.data() + 3 * i, &value->octet[i])) return false;
    }
    return true;
}

bool parse_value(std::string_view text, ip_address *value) {
    *value = {};
    if (text.empty() || text == "none") return true;
    if (text.starts_with("raw:")) return parse_raw_address(text.substr(4), value);
    return text.find(':') != std::string_view::npos ? parse_v6_address(text, value) : parse_v4_address(text, value);
}

bool parse_value(std::string_view text, vrf_info *value) {
    *value = {};
    std::string_view id, table, afi;
    return take_item(&text, &id) && take_item(&text, &table) && take_item(&text, &afi) &&
           parse_number(id, &value->id) && parse_number(table, &value->table_id) && parse_number(afi, &value->afi) &&
           parse_number(text, &value->safi);
}

}  // namespace velalib
