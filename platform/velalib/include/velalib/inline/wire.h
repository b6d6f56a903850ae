/** Inline forms of the items that frame an instance, and of the message header. Network byte order. */
#ifndef VELALIB_INLINE_WIRE_H
#define VELALIB_INLINE_WIRE_H

#include "velalib/inline/base.h"

namespace vela_inline {

template <typename T>
VELA_INLINE T network_order(T value) {
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    if constexpr (sizeof(T) == 2) {
        return static_cast<T>(__builtin_bswap16(static_cast<u_int16>(value)));
    }
    if constexpr (sizeof(T) == 4) {
        return static_cast<T>(__builtin_bswap32(static_cast<u_int32>(value)));
    }
    if constexpr (sizeof(T) == 8) {
        return static_cast<T>(__builtin_bswap64(static_cast<u_int64>(value)));
    }
#endif
    return value;
}

/** Stores an integer at any address. */
template <typename T>
VELA_INLINE void put(u_int8 *out, T value) {
    value = network_order(value);
    memcpy(out, &value, sizeof value);
}

/** Loads an integer from any address. */
template <typename T>
VELA_INLINE T take(const u_int8 *in) {
    T value;
    memcpy(&value, in, sizeof value);
    return network_order(value);
}

/** True when an item of `width` bytes may be written or read; else *err is set, unless it was. */
VELA_INLINE bool fits(vela_handle *handle, u_int32 width, u_int32 room, u_int32 *err) {
    if (*err != 0) {
        return false;
    }
    if (room >= width) [[likely]] {
        return true;
    }
    fail(handle, err, VELA_EMSGSIZE);
    return false;
}

/** Writes an item that is a number; returns its bytes. */
template <typename T>
VELA_INLINE u_int32 marshal_number(vela_handle *handle, u_int8 *buffer, T value, u_int32 room, u_int32 *err) {
    if (!fits(handle, sizeof(T), room, err)) {
        return 0;
    }
    put<T>(buffer, value);
    return sizeof(T);
}

template <typename T>
VELA_INLINE u_int32 unmarshal_number(vela_handle *handle, const u_int8 *buffer, T *value, u_int32 room, u_int32 *err) {
    if (!fits(handle, sizeof(T), room, err)) {
        return 0;
    }
    *value = take<T>(buffer);
    return sizeof(T);
}

VELA_INLINE u_int32 _vela_instance_variant_marshal(vela_handle *handle, u_int32, u_int8 *buffer, int8 variant,
                                                   u_int32 room, u_int32 *err) {
    return marshal_number(handle, buffer, variant, room, err);
}

VELA_INLINE u_int32 _vela_instance_variant_unmarshal(vela_handle *handle, u_int32, const u_int8 *buffer, int8 *variant,
                                                     u_int32 room, u_int32 *err) {
    return unmarshal_number(handle, buffer, variant, room, err);
}

VELA_INLINE u_int32 _vela_instance_obj_flag_marshal(vela_handle *handle, u_int32, u_int8 *buffer, u_int8 flag,
                                                    u_int32 room, u_int32 *err) {
    return marshal_number(handle, buffer, flag, room, err);
}

VELA_INLINE u_int32 _vela_instance_obj_flag_unmarshal(vela_handle *handle, u_int32, const u_int8 *buffer, u_int8 *flag,
                                                      u_int32 room, u_int32 *err) {
    return unmarshal_number(handle, buffer, flag, room, err);
}

VELA_INLINE u_int32 _vela_instance_ra_data_marshal(vela_handle *handle, u_int32, u_int8 *buffer, u_int8 kind,
                                                   u_int64 data, u_int32 room, u_int32 *err) {
    if (!fits(handle, VELA_WIRE_EXTRA_DATA, room, err)) {
        return 0;
    }
    buffer[0] = kind;
    put<u_int64>(buffer + 1, data);
    return VELA_WIRE_EXTRA_DATA;
}

VELA_INLINE u_int32 _vela_instance_ra_data_unmarshal(vela_handle *handle, u_int32, const u_int8 *buffer, u_int8 *kind,
                                                     u_int64 *data, u_int32 room, u_int32 *err) {
    if (!fits(handle, VELA_WIRE_EXTRA_DATA, room, err)) {
        return 0;
    }
    *kind = buffer[0];
    *data = take<u_int64>(buffer + 1);
    return VELA_WIRE_EXTRA_DATA;
}

VELA_INLINE u_int32 _vela_variant_jump_marshal(vela_handle *handle, u_int32, u_int8 *buffer, u_int32 jump, u_int32 room,
                                               u_int32 *err) {
    return marshal_number(handle, buffer, jump, room, err);
}

VELA_INLINE u_int32 _vela_variant_jump_unmarshal(vela_handle *handle, u_int32, const u_int8 *buffer, u_int32 *jump,
                                                 u_int32 room, u_int32 *err) {
    return unmarshal_number(handle, buffer, jump, room, err);
}

VELA_INLINE u_int32 _vela_message_header_marshal(vela_handle *handle, u_int32, u_int8 *buffer,
                                                 const vela_message_header *header, u_int32 room, u_int32 *err) {
    if (!fits(handle, VELA_WIRE_MESSAGE_HEADER, room, err)) {
        return 0;
    }
    buffer[0] = header->tag;
    memcpy(buffer + 1, header->address, sizeof header->address);
    buffer[7] = header->tracked;
    put<u_int32>(buffer + 8, header->word);
    put<u_int32>(buffer + 12, header->length);
    memset(buffer + 16, 0, VELA_WIRE_MESSAGE_HEADER - 16);
    return VELA_WIRE_MESSAGE_HEADER;
}

VELA_INLINE u_int32 _vela_message_header_unmarshal(vela_handle *handle, u_int32, const u_int8 *buffer,
                                                   vela_message_header *header, u_int32 room, u_int32 *err) {
    if (!fits(handle, VELA_WIRE_MESSAGE_HEADER, room, err)) {
        return 0;
    }
    if (buffer[0] != VELA_MESSAGE_TAG) {
        return fail(handle, err, VELA_EINVAL);
    }
    header->tag = buffer[0];
    memcpy(header->address, buffer + 1, sizeof header->address);
    header->tracked = buffer[7];
    header->word = take<u_int32>(buffer + 8);
    header->length = take<u_int32>(buffer + 12);
    return VELA_WIRE_MESSAGE_HEADER;
}

}  // namespace vela_inline

#endif
