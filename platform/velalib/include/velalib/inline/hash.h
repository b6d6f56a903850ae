/** Inline form of SuperFastHash; a constant length unrolls. */
#ifndef VELALIB_INLINE_HASH_H
#define VELALIB_INLINE_HASH_H

#include "velalib/inline/base.h"

namespace vela_inline {

/** 16 bits, low byte first on every machine, so that a hash of bytes is the same everywhere. */
VELA_INLINE u_int32 hash_word(const u_int8 *bytes) {
    u_int16 word;
    memcpy(&word, bytes, sizeof word);
#if __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    word = __builtin_bswap16(word);
#endif
    return word;
}

/** A lone byte counts as a signed one: this is how the algorithm is published, and hashes must stay the same. */
VELA_INLINE u_int32 hash_odd_byte(const u_int8 *byte) {
    return static_cast<u_int32>(static_cast<int32>(static_cast<int8>(*byte)));
}

/** Mixes in the one to three bytes that are left after the four-byte steps. */
VELA_INLINE u_int32 hash_tail(u_int32 hash, const u_int8 *bytes, u_int32 length) {
    switch (length) {
        case 3:
            hash += hash_word(bytes);
            hash ^= hash << 16;
            hash ^= hash_odd_byte(bytes + 2) << 18;
            hash += hash >> 11;
            break;
        case 2:
            hash += hash_word(bytes);
            hash ^= hash << 11;
            hash += hash >> 17;
            break;
        case 1:
            hash += hash_odd_byte(bytes);
            hash ^= hash << 10;
            hash += hash >> 1;
            break;
        default:
            break;
    }
    return hash;
}

VELA_INLINE u_int32 SuperFastHash(const void *data, int32 length, u_int32 seed) {
    if (data == nullptr || length <= 0) {
        return 0;
    }
    const u_int8 *bytes = static_cast<const u_int8 *>(data);
    u_int32 hash = seed;
    for (int32 left = length >> 2; left > 0; --left, bytes += 4) {
        hash += hash_word(bytes);
        hash = (hash << 16) ^ ((hash_word(bytes + 2) << 11) ^ hash);
        hash += hash >> 11;
    }
    hash = hash_tail(hash, bytes, static_cast<u_int32>(length) & 3u);
    hash ^= hash << 3;
    hash += hash >> 5;
    hash ^= hash << 4;
    hash += hash >> 17;
    hash ^= hash << 25;
    hash += hash >> 6;
    return hash;
}

}  // namespace vela_inline

#endif
