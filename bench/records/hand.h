// What the hand-written codecs are made of: stores and loads at a position that is passed on by value; and what makes a
// contender of them.
#pragma once

#include <bit>
#include <cstring>

#include "records/record.h"

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

inline u_int8 *put_octets(u_int8 *out, const auto &octets) {
    std::memcpy(out, octets.data(), octets.size());
    return out + octets.size();
}
inline const u_int8 *take_octets(const u_int8 *in, auto &octets) {
    std::memcpy(octets.data(), in, octets.size());
    return in + octets.size();
}

/** A bounds check, then `put_all(out, values)`, which stores them one after the other. */
template <class R, auto put_all>
[[gnu::noipa]] u_int32 encode(u_int8 *out, u_int32 room, const typename R::values &values) {
    if (room < R::width) {
        return 0;
    }
    put_all(out, values);
    return R::width;
}

template <class R, auto take_all>
[[gnu::noipa]] u_int32 decode(const u_int8 *in, u_int32 length, typename R::values &values) {
    if (length < R::width) {
        return 0;
    }
    take_all(in, values);
    return R::width;
}

/** The bytes that the library gives a record's example. */
template <class R>
std::string library_bytes() {
    record_fixture<R> f(make_handle(), make_handle());
    return {f.bytes.begin(), f.bytes.begin() + f.length};
}

template <class R, auto put_all, auto take_all>
std::string check() {
    std::string bytes(R::width, '\0');
    encode<R, put_all>(reinterpret_cast<u_int8 *>(bytes.data()), R::width, R::example());
    if (library_bytes<R>() != bytes) {
        return "the bytes are not the library's";
    }
    static typename R::values values;
    decode<R, take_all>(reinterpret_cast<const u_int8 *>(bytes.data()), R::width, values);
    return values == R::example() ? "" : "other values came back";
}

/** What is decoded by hand has been read. */
template <class R, auto put_all, auto take_all>
contender make_contender() {
    static std::vector<u_int8> bytes(R::width);
    static typename R::values values = R::example();
    const auto write = [](benchmark::State &state) {
        repeat(state, [] { return encode<R, put_all>(bytes.data(), R::width, values); });
    };
    const auto read = [](benchmark::State &state) {
        repeat(state, [] { return decode<R, take_all>(bytes.data(), R::width, values); });
    };
    return {R::scenario,
            "hand",
            check<R, put_all, take_all>,
            {{"encode", write}, {"decode", read}, {"decode and read", read}}};
}

}  // namespace bench::hand
