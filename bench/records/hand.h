// What the hand-written codecs are made of: stores and loads at a position that is passed on by value.
#pragma once

#include <bit>
#include <cstring>

#include "velalib.h"

namespace bench::hand {

template <class T>
inline T network_order(T value) {
    static_assert(std::endian::native == std::endian::little);
    if constexpr (sizeof(T) == 8) return static_cast<T>(__builtin_bswap64(static_cast<u_int64>(value)));
    if constexpr (sizeof(T) == 4) return static_cast<T>(__builtin_bswap32(static_cast<u_int32>(value)));
    if constexpr (sizeof(T) == 2) return static_cast<T>(__builtin_bswap16(static_cast<u_int16>(value)));
    return value;
}

template <class T>
inline u_int8 *put(u_int8 *out, T value) {
    value = network_order(value);
    std::memcpy(out, &value, sizeof value);
    return out + sizeof value;
}

template <class T>
inline const u_int8 *take(const u_int8 *in, T &value) {
    std::memcpy(&value, in, sizeof value);
    value = network_order(value);
    return in + sizeof value;
}

/** The six bytes before a structure's fields; `width` is that of the whole structure. */
inline u_int8 *put_header(u_int8 *out, u_int8 variant, u_int32 width) {
    *out++ = variant;
    *out++ = 0;
    return put<u_int32>(out, width - 2);
}
constexpr u_int32 header_width = 6;

inline u_int8 *put_boolean(u_int8 *out, vela_boolean value) { return put(out, static_cast<u_int8>(value)); }
inline const u_int8 *take_boolean(const u_int8 *in, vela_boolean &value) {
    value = *in;
    return in + 1;
}

/** A variant byte, then the value. */
inline u_int8 *put_enumeration(u_int8 *out, u_int8 variant, u_int32 value) {
    *out = variant;
    return put(out + 1, value);
}
inline const u_int8 *take_enumeration(const u_int8 *in, u_int32 &value) { return take(in + 1, value); }

}  // namespace bench::hand
