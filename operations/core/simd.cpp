// Asks the processor for AVX2 once, when the library is loaded.
#include "operations/core/simd.h"

#include <stdlib.h>

#ifdef PTP_CFG_HAS_AVX2

namespace ptp_cfg {

bool has_avx2 = false;

[[gnu::constructor]] static void ask_processor() {
    __builtin_cpu_init();
    has_avx2 = __builtin_cpu_supports("avx2") && getenv("PTP_CFG_NO_AVX2") == nullptr;
}

}  // namespace ptp_cfg

#endif
