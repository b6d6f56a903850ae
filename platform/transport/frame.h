// What travels: a bundle or a single message, told apart by the first byte.
#pragma once

#include "base/big_endian.h"
#include "vela_bundle.h"

namespace vela::transport {

inline u_int32 load_u32(const u_int8 *at) { return base::load_big_endian<u_int32>(at); }
inline void store_u32(u_int8 *at, u_int32 value) { base::store_big_endian(at, value); }

// Where a message header keeps the length of the whole message, and where the identity follows it.
constexpr u_int32 message_length_offset = 12;
constexpr u_int32 message_luid_offset = VELA_WIRE_MESSAGE_HEADER;

// Why bytes are no message; null when they are one.
inline const char *message_fault(const u_int8 *bytes, u_int32 length) {
    if (length < VELA_BUNDLE_LEAST_MESSAGE) {
        return "shorter than a message header and identity";
    }
    if (bytes[0] != VELA_MESSAGE_TAG) {
        return "does not begin with the tag of a message";
    }
    return load_u32(bytes + message_length_offset) == length ? nullptr : "its header gives another length";
}

// Why bytes are no bundle, judged by their header alone; null when they may be one.
inline const char *bundle_fault(const u_int8 *bytes, u_int32 length) {
    if (length < VELA_BUNDLE_HEADER) {
        return "shorter than the header of a bundle";
    }
    if (load_u32(bytes) != VELA_BUNDLE_MAGIC || bytes[4] != VELA_BUNDLE_VERSION) {
        return "neither a message nor a bundle of a known version";
    }
    return load_u32(bytes + 12) == length ? nullptr : "the bundle gives another length";
}

inline const char *frame_fault(const u_int8 *bytes, u_int32 length) {
    bool is_message = length > 0 && bytes[0] == VELA_MESSAGE_TAG;
    return is_message ? message_fault(bytes, length) : bundle_fault(bytes, length);
}

}  // namespace vela::transport
