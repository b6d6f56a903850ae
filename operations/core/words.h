// Bytes looked at as wide words: at run time, and in constants.
#pragma once

#include <string.h>

#include <array>
#include <bit>
#include <utility>

#include "operations/core/runtime.h"

namespace ptp_cfg {

typedef u_int64 word_pair __attribute__((vector_size(16)));

template <class Word>
PTP_CFG_INLINE Word word_at(const void *bytes) {
    Word word;
    memcpy(&word, bytes, sizeof word);
    return word;
}

/** The same in a constant. */
template <class Word>
constexpr Word constant_word(const u_int8 *bytes) {
    if constexpr (sizeof(Word) == sizeof(word_pair)) {
        return Word{constant_word<u_int64>(bytes), constant_word<u_int64>(bytes + 8)};
    } else {
        std::array<u_int8, sizeof(Word)> copy{};
        for (u_int32 i = 0; i < sizeof(Word); ++i) {
            copy[i] = bytes[i];
        }
        return std::bit_cast<Word>(copy);
    }
}

/** Copies so many bytes, a multiple of eight, by words. (For some sizes a compiler has memcpy() repeat a slow step.) */
template <u_int32 size>
PTP_CFG_INLINE void copy_words(u_int8 *to, const void *from) {
    const u_int8 *bytes = static_cast<const u_int8 *>(from);
    [&]<size_t... W>(std::index_sequence<W...>) __attribute__((always_inline)) {
        (memcpy(to + W * 16, bytes + W * 16, 16), ...);
    }
    (std::make_index_sequence<size / 16>{});
    if constexpr (size % 16 != 0) {
        memcpy(to + size - 8, bytes + size - 8, 8);
    }
}

/** Hides a size from the compiler, so that it calls memset(): for some sizes it would repeat a slow step instead. */
PTP_CFG_INLINE size_t hidden(size_t size) {
    asm("" : "+r"(size));
    return size;
}

/** Keeps the compiler from making one long chain of what is gathered in a loop and what one turn of it finds. */
PTP_CFG_INLINE void keep_apart(word_pair &found) {
#if defined(__x86_64__)
    asm("" : "+x"(found));
#else
    (void)found;
#endif
}

}  // namespace ptp_cfg
