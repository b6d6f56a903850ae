// Encodes and decodes the head of a record.
#include "record_format.h"

#include <algorithm>

#include "base/big_endian.h"

namespace vela::recorder {
namespace {

constexpr size_t length_at = 4, time_at = 8, source_at = 16, bytes_crc_at = 20, head_crc_at = 24;

template <typename number>
void put(head_bytes &bytes, size_t at, number value) {
    base::store_big_endian(bytes.data() + at, value);
}

template <typename number>
number get(octets bytes, size_t at) {
    return base::load_big_endian<number>(bytes.data() + at);
}

}  // namespace

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
