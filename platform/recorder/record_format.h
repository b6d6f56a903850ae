// A record's head and a file's header as bytes.
#pragma once

#include <array>
#include <span>

#include "crc32.h"
#include "vela_recorder.h"

namespace vela::recorder {

using octets = std::span<const u_int8>;
using head_bytes = std::array<u_int8, VELA_RECORD_HEAD>;

struct record_head {
    u_int32 length;
    u_int64 time_ns;
    u_int32 source;
    u_int32 bytes_crc;
};

inline constexpr std::array<u_int8, VELA_RECORDING_HEADER> file_header = {
    VELA_RECORDING_MAGIC >> 24, VELA_RECORDING_MAGIC >> 16 & 0xFF, VELA_RECORDING_MAGIC >> 8 & 0xFF,
    VELA_RECORDING_MAGIC & 0xFF, VELA_RECORDING_VERSION};

head_bytes encode_head(const record_head &head);

/** Reads a head; false when its mark, checksum or length is wrong. */
bool decode_head(octets bytes, record_head &head);

/** Whether bytes, fewer than a head, may be the start of one. */
bool may_begin_head(octets bytes);

}  // namespace vela::recorder
