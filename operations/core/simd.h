// What the operations do 32 bytes at a time on processors with AVX2. Every such function has one for all processors
// beside it, and leaves the same.
#pragma once

#include "operations/core/runtime.h"

#if defined(__x86_64__) && !defined(PTP_CFG_EXPORTED_RUNTIME)
#define PTP_CFG_HAS_AVX2 1
#include <immintrin.h>

namespace ptp_cfg {

/** Whether this processor has AVX2. The environment variable PTP_CFG_NO_AVX2, when it is set, says no. */
extern bool has_avx2;

/** Marks what melts into a function for AVX2. */
#define PTP_CFG_AVX2 __attribute__((always_inline, target("avx2")))

constexpr u_int32 simd_size = 32;

PTP_CFG_AVX2 inline __m256i load_simd(const void *bytes) {
    return _mm256_loadu_si256(static_cast<const __m256i *>(bytes));
}

PTP_CFG_AVX2 inline void store_simd(void *bytes, __m256i value) {
    _mm256_storeu_si256(static_cast<__m256i *>(bytes), value);
}

}  // namespace ptp_cfg

#endif
