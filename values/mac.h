// MAC addresses: six octets, on the wire as in memory.
#pragma once

#include "values/value.h"
#include "velalib/inline/checks.h"

namespace values {

struct mac {
    using type = en_address;
    static constexpr const char *written = "six bytes, as 00:1b:19:00:00:01 or 00-1b-19-00-00-01";
    static constexpr size_t octets = sizeof en_address::octet;

    static VELA_INLINE void store(u_int8 *out, const en_address *value) { memcpy(out, value->octet, octets); }
    static VELA_INLINE void load(const u_int8 *in, en_address *value) { memcpy(value->octet, in, octets); }
    static VELA_INLINE int32 compare(const en_address *a, const en_address *b) {
        const int32 first = order_bytes<u_int32>(a->octet, b->octet);
        return first != 0 ? first : order_bytes<u_int16>(a->octet + 4, b->octet + 4);
    }
    static VELA_INLINE u_int32 hash(const en_address *value, u_int32 seed) {
        return hash_bytes(value->octet, octets, seed);
    }

    static void write(bounded_text &out, const en_address &value) {
        for (size_t i = 0; i < octets; ++i) {
            if (i != 0) {
                out.append(':');
            }
            out.append_hex_byte(value.octet[i]);
        }
    }

    static bool read(std::string_view text, en_address *value) {
        if (text.size() != octets * 3 - 1) {
            return false;
        }
        for (size_t i = 0; i < octets; ++i) {
            if (i != 0 && text[3 * i - 1] != ':' && text[3 * i - 1] != '-') {
                return false;
            }
            if (!read_hex_byte(text.data() + 3 * i, &value->octet[i])) {
                return false;
            }
        }
        return true;
    }

    static void list_accepted(bounded_text &out) { out.append("such as 00:1b:19:00:00:01"); }

    /** An address may hold references to objects; they go with it, whether its memory does or not. */
    static VELA_INLINE void forget(vela_handle *handle, en_address *value) {
        if (vela_inline::has_address_references(handle)) [[unlikely]] {
            vela_address_references_drop(handle, value);
        }
    }
};

}  // namespace values
