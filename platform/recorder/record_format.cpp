#include "record_format.h"

#include <algorithm>

namespace vela::recorder {
namespace {

constexpr std::array<u_int32, 256> crc_table = [] {
    std::array<u_int32, 256> table{};
    for (u_int32 byte = 0; byte < table.size(); ++byte) {
        u_int32 remainder = byte;
        for (int bit = 0; bit < 8; ++bit) {
            remainder = remainder >> 1 ^ ((remainder & 1) != 0 ? 0xEDB88320u : 0);
        }
        table[byte] = remainder;
    }
    return table;
}();

constexpr size_t length_at = 4, time_at = 8, source_at = 16, bytes_crc_at = 20, head_crc_at = 24;

template <typename number>
void put(head_bytes &bytes, size_t at, number value) {
    for (size_t i = sizeof value; i-- > 0; value = static_cast<number>(value >> 8)) {
        bytes[at + i] = static_cast<u_int8>(value);
    }
}

template <typename number>
number get(octets bytes, size_t at) {
    number value = 0;
    for (size_t i = 0; i < sizeof value; ++i) {
        value = static_cast<number>(value << 8 | bytes[at + i]);
    }
    return value;
}

}  // namespace

u_int32 crc32(octets bytes) {
    u_int32 crc = 0xFFFFFFFFu;
    for (const u_int8 byte : bytes) {
        crc = crc >> 8 ^ crc_table[(crc ^ byte) & 0xFF];
    }
    return ~crc;
}

head_bytes encode_head(const record_head &head) {
    head_bytes bytes{};
    put(bytes, 0, VELA_RECORD_MARK);
    put(bytes, length_at, head.length);
    put(bytes, time_at, head.time_ns);
    put(bytes, source_at, head.source);
    put(bytes, bytes_crc_at, head.bytes_crc);
    put(bytes, head_crc_at, crc32(octets(bytes).first(head_crc_at)));
    return bytes;
}

bool decode_head(octets bytes, record_head &head) {
    if (get<u_int32>(bytes, 0) != VELA_RECORD_MARK ||
        get<u_int32>(bytes, head_crc_at) != crc32(bytes.first(head_crc_at))) {
        return false;
    }
    head = {get<u_int32>(bytes, length_at), get<u_int64>(bytes, time_at), get<u_int32>(bytes, source_at),
            get<u_int32>(bytes, bytes_crc_at)};
    return head.length <= VELA_RECORD_LONGEST;
}

bool may_begin_head(octets bytes) {
    const head_bytes any = encode_head({});
    return std::equal(bytes.begin(), bytes.begin() + std::min<ptrdiff_t>(bytes.size(), length_at), any.begin());
}

}  // namespace vela::recorder
