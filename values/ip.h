// IP addresses of either family. On the wire 1 byte family, 16 bytes address, 4 bytes scope. Of the family only the low
// 8 bits count, so that a decoded address equals the original.
#pragma once

#include <arpa/inet.h>

#include "values/number.h"

namespace values {

struct ip {
    using type = ip_address;
    static constexpr const char *written =
        "192.0.2.1, 2001:db8::1, fe80::1%3 with a scope of 3, or nothing where there is none";
    static constexpr size_t length = sizeof ip_address::bytes;

    static VELA_INLINE void store(u_int8 *out, const ip_address *value) {
        out[0] = static_cast<u_int8>(value->family);
        memcpy(out + 1, value->bytes, length);
        put<u_int32>(out + 1 + length, value->scope_id);
    }
    static VELA_INLINE void load(const u_int8 *in, ip_address *value) {
        value->family = in[0];
        memcpy(value->bytes, in + 1, length);
        value->scope_id = take<u_int32>(in + 1 + length);
        memset(value->reserved, 0, sizeof value->reserved);
    }
    static VELA_INLINE int32 compare(const ip_address *a, const ip_address *b) {
        int32 result = order(family(*a), family(*b));
        result = result != 0 ? result : order(a->scope_id, b->scope_id);
        result = result != 0 ? result : order_bytes<u_int64>(a->bytes, b->bytes);
        return result != 0 ? result : order_bytes<u_int64>(a->bytes + 8, b->bytes + 8);
    }
    static VELA_INLINE u_int32 hash(const ip_address *value, u_int32 seed) {
        const u_int32 numbers[2] = {family(*value), value->scope_id};
        u_int8 key[sizeof numbers + length];
        memcpy(key, numbers, sizeof numbers);
        memcpy(key + sizeof numbers, value->bytes, length);
        return hash_bytes(key, sizeof key, seed);
    }

    /** "192.0.2.1", "2001:db8::1%3", nothing for no address; "raw:FAMILY:BYTES:SCOPE" for what these cannot carry. */
    static void write(bounded_text &out, const ip_address &value) {
        char address[INET6_ADDRSTRLEN];
        if (family(value) == VELA_IP_V6) {
            out.append(inet_ntop(AF_INET6, value.bytes, address, sizeof address));
            if (value.scope_id != 0) {
                out.append('%');
                out.append_number(value.scope_id);
            }
        } else if (is_plain_v4(value)) {
            out.append(inet_ntop(AF_INET, value.bytes, address, sizeof address));
        } else if (!is_none(value)) {
            write_raw(out, value);
        }
    }

    static void print(bounded_text &out, const ip_address &value) {
        if (is_none(value)) {
            out.append("none");
        } else {
            write(out, value);
        }
    }

    static bool read(std::string_view text, ip_address *value) {
        *value = {};
        if (text.empty() || text == "none") {
            return true;
        }
        if (begins_with(text, "raw:")) {
            return read_raw(behind(text, 4), value);
        }
        if (text.find(':') == std::string_view::npos) {
            return read_address(text, AF_INET, VELA_IP_V4, value);
        }
        const size_t percent = text.find('%');
        if (percent != std::string_view::npos && !number<u_int32>::read(behind(text, percent + 1), &value->scope_id)) {
            return false;
        }
        return read_address({text.data(), std::min(percent, text.size())}, AF_INET6, VELA_IP_V6, value);
    }

    static void list_accepted(bounded_text &out) { out.append("such as 192.0.2.1, 2001:db8::1%3 or nothing"); }

  private:
    static VELA_INLINE u_int32 family(const ip_address &value) { return value.family & 0xFFu; }

    /** Whether there is nothing but so many bytes of address. */
    static bool has_only(const ip_address &value, size_t used) {
        for (size_t i = used; i < length; ++i) {
            if (value.bytes[i] != 0) {
                return false;
            }
        }
        return value.scope_id == 0;
    }
    static bool is_plain_v4(const ip_address &value) { return family(value) == VELA_IP_V4 && has_only(value, 4); }
    static bool is_none(const ip_address &value) { return family(value) == VELA_IP_NONE && has_only(value, 0); }

    static void write_raw(bounded_text &out, const ip_address &value) {
        out.append("raw:");
        out.append_number(family(value));
        out.append(':');
        for (const u_int8 byte : value.bytes) {
            out.append_hex_byte(byte);
        }
        out.append(':');
        out.append_number(value.scope_id);
    }

    /** FAMILY:BYTES:SCOPE */
    static bool read_raw(std::string_view text, ip_address *value) {
        std::string_view family;
        std::string_view bytes;
        u_int8 family_number = 0;
        if (!take_item(&text, &family) || !take_item(&text, &bytes) || bytes.size() != 2 * length ||
            !number<u_int8>::read(family, &family_number) || !number<u_int32>::read(text, &value->scope_id)) {
            return false;
        }
        value->family = family_number;
        for (size_t i = 0; i < length; ++i) {
            if (!read_hex_byte(bytes.data() + 2 * i, &value->bytes[i])) {
                return false;
            }
        }
        return true;
    }

    static bool read_address(std::string_view text, int system_family, u_int32 family, ip_address *value) {
        char terminated[INET6_ADDRSTRLEN] = {};
        if (text.size() >= sizeof terminated) {
            return false;
        }
        memcpy(terminated, text.data(), text.size());
        value->family = family;
        return inet_pton(system_family, terminated, value->bytes) == 1;
    }
};

}  // namespace values
