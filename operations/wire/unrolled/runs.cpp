// Runs of numbers of eight bytes, 32 bytes at a time where the processor has AVX2.
#include "operations/wire/unrolled/runs.h"

#include "operations/core/simd.h"

namespace ptp_cfg {

namespace {

void copy_swapped_singly(u_int8 *to, const u_int8 *from, u_int32 count) {
#pragma GCC unroll 8
    for (u_int32 i = 0; i < count; ++i) {
        vela_inline::put<u_int64>(to + i * sizeof(u_int64), word_at<u_int64>(from + i * sizeof(u_int64)));
    }
}

#ifdef PTP_CFG_HAS_AVX2
PTP_CFG_AVX2 inline void copy_four_swapped(u_int8 *to, const u_int8 *from) {
    const __m256i order =
        _mm256_setr_epi64x(0x0001020304050607, 0x08090a0b0c0d0e0f, 0x0001020304050607, 0x08090a0b0c0d0e0f);
    store_simd(to, _mm256_shuffle_epi8(load_simd(from), order));
}

[[gnu::target("avx2")]] void copy_swapped_simd(u_int8 *to, const u_int8 *from, u_int32 count) {
    const u_int8 *last = from + count * sizeof(u_int64) - simd_size;
    u_int8 *last_to = to + count * sizeof(u_int64) - simd_size;
#pragma GCC unroll 4
    for (; from < last; from += simd_size, to += simd_size) {
        copy_four_swapped(to, from);
    }
    copy_four_swapped(last_to, last);  // overlaps the four before it
}
#endif

}  // namespace

void copy_swapped(u_int8 *to, const u_int8 *from, u_int32 count) {
#ifdef PTP_CFG_HAS_AVX2
    if (has_avx2) {
        return copy_swapped_simd(to, from, count);
    }
#endif
    copy_swapped_singly(to, from, count);
}

}  // namespace ptp_cfg
