/**
 * What the kinds of values are written with.
 *
 * A kind of value is a structure with these static members, in a file of its own:
 *
 *     type                            the C type
 *     store(out, value)               encodes; all that a peer sees is decided here
 *     load(in, value)                 decodes any bytes
 *     compare(a, b)                   -1, 0 or 1
 *     hash(value, seed)               alike for values that compare equal
 *     write(text, value)              as XML has it, at most longest_text characters
 *     read(text, value)               false for what is no value; no blanks surround the text
 *     list_accepted(text)             completes "value 'X' is not a TYPE (...)"
 *     written                         completes "In XML it is written as ..."
 *
 * and, where a kind needs them: print(text, value), as a printed line has it when that is not as XML has it, and
 * forget(handle, value), before a value is destroyed. values/operations.h and values/text.h have what all share.
 */
#pragma once

#include <charconv>
#include <string_view>

#include "values/bounded_text.h"
#include "velalib/inline/hash.h"
#include "velalib/inline/wire.h"

namespace values {

using vela_inline::put;
using vela_inline::take;

constexpr size_t longest_text = 80;

VELA_INLINE u_int32 hash_bytes(const void *bytes, size_t length, u_int32 seed) {
    return vela_inline::SuperFastHash(bytes, static_cast<int32>(length), seed);
}

template <typename T>
VELA_INLINE int32 order(T a, T b) {
    return a < b ? -1 : (a > b ? 1 : 0);
}

/** Orders two runs of bytes as numbers in network order. */
template <typename T>
VELA_INLINE int32 order_bytes(const u_int8 *a, const u_int8 *b) {
    return order(take<T>(a), take<T>(b));
}

/** Reads two hexadecimal digits. */
inline bool read_hex_byte(const char *digits, u_int8 *byte) {
    const std::from_chars_result result = std::from_chars(digits, digits + 2, *byte, 16);
    return result.ec == std::errc() && result.ptr == digits + 2;
}

// substr(), and what is made of it, may throw, and would bring a C++ runtime into the library.

inline bool begins_with(std::string_view text, std::string_view prefix) {
    return text.size() >= prefix.size() && memcmp(text.data(), prefix.data(), prefix.size()) == 0;
}

/** The text behind its first `count` characters, of which there are as many. */
inline std::string_view behind(std::string_view text, size_t count) {
    text.remove_prefix(count);
    return text;
}

/** Takes the text before the next ':' off a list; false when there is none. */
inline bool take_item(std::string_view *list, std::string_view *item) {
    const size_t colon = list->find(':');
    if (colon == std::string_view::npos) {
        return false;
    }
    *item = {list->data(), colon};
    list->remove_prefix(colon + 1);
    return true;
}

}  // namespace values
