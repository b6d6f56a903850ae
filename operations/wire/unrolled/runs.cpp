// Runs of numbers, and what the processor offers for them.
#include "operations/wire/unrolled/runs.h"

#include "operations/core/simd.h"

#ifndef PTP_CFG_EXPORTED_RUNTIME

namespace ptp_cfg {

namespace {

void copy_swapped_singly(u_int8 *to, const u_int8 *from, u_int32 count) {
    for (u_int32 i = 0; i < count; ++i) {
        primitive_traits<field_kind::u_int64>::store(to + i * sizeof(u_int64), as<u_int64>(from + i * sizeof(u_int64)));
    }
}

#ifdef PTP_CFG_HAS_AVX2
PTP_CFG_AVX2 inline void copy_chunk_swapped(u_int8 *to, const u_int8 *from) {
    const __m256i order =
        _mm256_setr_epi64x(0x0001020304050607, 0x08090a0b0c0d0e0f, 0x0001020304050607, 0x08090a0b0c0d0e0f);
    store_simd(to, _mm256_shuffle_epi8(load_simd(from), order));
}

[[gnu::target("avx2")]] void copy_swapped_simd(u_int8 *to, const u_int8 *from, u_int32 count) {
    const u_int8 *last = from + count * sizeof(u_int64) - simd_size;
    u_int8 *last_to = to + count * sizeof(u_int64) - simd_size;
#pragma GCC unroll 4
    for (; from < last; from += simd_size, to += simd_size) {
        copy_chunk_swapped(to, from);
    }
    copy_chunk_swapped(last_to, last);  // overlaps the chunk before it
}
#endif

}  // namespace

#ifdef PTP_CFG_HAS_AVX2

void copy_swapped(u_int8 *to, const u_int8 *from, u_int32 count) {
    return has_avx2 ? copy_swapped_simd(to, from, count) : copy_swapped_singly(to, from, count);
}

#else

void copy_swapped(u_int8 *to, const u_int8 *from, u_int32 count) { copy_swapped_singly(to, from, count); }

#endif

}  // namespace ptp_cfg

#endif
