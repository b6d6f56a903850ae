// Numbers of one to eight bytes: most significant byte first on the wire, decimal as text.
#pragma once

#include <limits>

#include "values/value.h"

namespace values {

/** Decimal, or hexadecimal after 0x, without a sign. */
inline bool read_magnitude(std::string_view text, u_int64 *magnitude) {
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
struct number {
    using type = T;
    using limits = std::numeric_limits<T>;
    static constexpr const char *written = "a decimal number, or a hexadecimal one as 0x2A";

    static VELA_INLINE void store(u_int8 *out, const T *value) { put<T>(out, *value); }
    static VELA_INLINE void load(const u_int8 *in, T *value) { *value = take<T>(in); }
    static VELA_INLINE int32 compare(const T *a, const T *b) { return order(*a, *b); }
    static VELA_INLINE u_int32 hash(const T *value, u_int32 seed) { return hash_bytes(value, sizeof(T), seed); }

    static void write(bounded_text &out, T value) { out.append_number(value); }

    static bool read(std::string_view text, T *value) {
        const bool negative = text.starts_with('-');
        if (negative || text.starts_with('+')) {
            text.remove_prefix(1);
        }
        constexpr u_int64 highest = static_cast<u_int64>(limits::max());
        constexpr u_int64 lowest = limits::is_signed ? highest + 1 : 0;
        u_int64 magnitude = 0;
        if (!read_magnitude(text, &magnitude) || magnitude > (negative ? lowest : highest)) {
            return false;
        }
        *value = static_cast<T>(negative ? u_int64{0} - magnitude : magnitude);
        return true;
    }

    static void list_accepted(bounded_text &out) {
        out.append_number(limits::min());
        out.append(" to ");
        out.append_number(limits::max());
    }
};

}  // namespace values
