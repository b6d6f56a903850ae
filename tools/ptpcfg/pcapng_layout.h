// Numbers of the pcapng format.
#pragma once

#include "velalib/types.h"

namespace ptpcfg::pcapng {

enum block : u_int32 {
    section = 0x0A0D0D0A,
    interface_description = 1,
    simple_packet = 3,
    enhanced_packet = 6,
};

inline constexpr u_int32 byte_order = 0x1A2B3C4D;
inline constexpr u_int32 user0 = 147;  // LINKTYPE_USER0, which is private to the messages' programs

enum option : u_int32 {
    end = 0,
    comment = 1,
    interface_name = 2,
    interface_resolution = 9,
};

/** A block's type and length in front of its body, and the length behind it. */
inline constexpr u_int32 head = 8;
inline constexpr u_int32 frame = 12;
inline constexpr u_int32 longest_block = (u_int32{64} << 20) + 65536;

/** Options and packets are filled up to whole words. */
constexpr u_int32 padded(u_int32 length) { return (length + 3) & ~u_int32{3}; }

}  // namespace ptpcfg::pcapng
