// What a build and its processor offer: the runtime's own functions inside the library's, and AVX2.
#pragma once

#include "velalib.h"

#define PTP_CFG_INLINE inline __attribute__((always_inline))

namespace ptp_cfg {

/** Whether the primitives are the inline forms of the library's own runtime, so that what they do is known. */
#ifdef PTP_CFG_EXPORTED_RUNTIME
inline constexpr bool has_own_runtime = false;
#else
inline constexpr bool has_own_runtime = true;
#endif

}  // namespace ptp_cfg
